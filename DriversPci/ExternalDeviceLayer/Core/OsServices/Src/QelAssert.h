// The library-wide assertion report: one error message "<file>(<line>) Assertion failed" on
// standard output (file name without directories), then QelTools_Assert, which does nothing in
// this build. Execution always goes on; the caller returns its failure value.
//
// QEL_ASSERT_REPORT()            reports the current source line.
// QEL_ASSERT_REPORT_AT(line)     reports a fixed line number that is part of the component's
//                                documented messages.
// QelAssertReport(path, line)    reports on behalf of another source file.
#pragma once

void QelAssertReport(const char* pszSourcePath, int iLine);

#define QEL_ASSERT_REPORT()         QelAssertReport(__FILE__, __LINE__)
#define QEL_ASSERT_REPORT_AT(line)  QelAssertReport(__FILE__, (line))

// Reports when the condition is false; evaluates to the condition.
#define QEL_CHECK(cond) ((cond) ? true : (QelAssertReport(__FILE__, __LINE__), false))
