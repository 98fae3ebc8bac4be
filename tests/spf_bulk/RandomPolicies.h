// Random senders, and a name server that answers about their domains with policies of every kind
// and with broken replies.

#pragma once

// Lets spf-bulk check so many random lines, of which so many get no answer, and expects the
// verdicts of a loop over spfcheck.
void CompareWithTool(int lines, int silent);
