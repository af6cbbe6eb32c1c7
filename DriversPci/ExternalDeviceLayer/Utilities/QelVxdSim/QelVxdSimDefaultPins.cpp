// Parameter block that the default rig's board carries in its flash: the reference model's block,
// generated at build time into QelVxdSimDefaultPinsBlock.cpp (the array and its _size).
extern const unsigned int g_aucQelVxdSimDefaultPins_size;
extern const unsigned int g_uiQelVxdSimDefaultPinsSize;

extern const unsigned int g_uiQelVxdSimDefaultPinsSize = g_aucQelVxdSimDefaultPins_size;
