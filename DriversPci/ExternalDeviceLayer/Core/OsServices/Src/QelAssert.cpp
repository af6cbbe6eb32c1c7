#include "QelAssert.h"

#include "OsServices.h"
#include "QelTools.h"

void QelAssertReport(const char* pszSourcePath, int iReport)
{
    OsServices::WriteErrorMsg("%s(%d) Assertion failed\n", OsServices::GetFileNameOnlySubSring(pszSourcePath), iReport);
    QelTools_Assert(0, pszSourcePath, iReport);
}
