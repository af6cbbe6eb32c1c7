// The library-wide assertion report: one error message "<file>(<number>) Assertion failed" on
// standard output (file name without directories), then QelTools_Assert, which does nothing in
// this build. Execution always goes on; the caller returns its failure value.
//
// Every file that reports keeps a table of its report numbers at its top (enum EReport, one
// enumerator per failure). Operators and support know a failure by its number, so a number never
// follows the source layout: there is deliberately no form that reports the current line.
//
// QEL_ASSERT_REPORT_AT(report)      reports a number of this file's table.
// QelAssertReport(path, report)     reports on behalf of another source file.
#pragma once

void QelAssertReport(const char* pszSourcePath, int iReport);

#define QEL_ASSERT_REPORT_AT(report)  QelAssertReport(__FILE__, (report))
