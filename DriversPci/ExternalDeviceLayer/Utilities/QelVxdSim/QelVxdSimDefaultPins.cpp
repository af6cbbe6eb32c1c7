// Parameter block that the default rig's board carries in its flash. Empty here: that board's
// flash is blank until the generated block takes this file's place.
extern const unsigned char g_aucQelVxdSimDefaultPins[];
extern const unsigned int g_uiQelVxdSimDefaultPinsSize;

extern const unsigned char g_aucQelVxdSimDefaultPins[] = {0};
extern const unsigned int g_uiQelVxdSimDefaultPinsSize = 0;
