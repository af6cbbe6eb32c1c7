#include "QelAssert.h"

#include "OsServices.h"
#include "QelTools.h"

void QelAssertReport(const char* pszSourcePath, int iLine)
{
    OsServices::WriteErrorMsg("%s(%d) Assertion failed\n", OsServices::GetFileNameOnlySubSring(pszSourcePath), iLine);
    QelTools_Assert(0, pszSourcePath, iLine);
}
