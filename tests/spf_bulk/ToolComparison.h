// Compares spf-bulk with the plain tool.

#pragma once

// Lets spf-bulk check `lines` random lines, `silent` of which get no answer, and expects the
// verdicts of spfcheck.
void CompareWithTool(int lines, int silent);
