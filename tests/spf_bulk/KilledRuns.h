// Runs of spf-bulk that are killed again and again.

#pragma once

// Kills runs with --resume at `kills` random moments, and expects of what is written in the end
// that it is what an undisturbed run writes.
void TryKilledRuns(int kills);
