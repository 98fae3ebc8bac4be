// Random senders, and a name server with policies of every kind, which also sends malformed
// replies.

#pragma once

// Lets spf-bulk check `lines` random lines, `silent` of which get no answer, and expects the
// verdicts of spfcheck.
void CompareWithTool(int lines, int silent);
