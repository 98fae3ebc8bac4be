// Runs of spf-bulk that are killed.

#pragma once

// Kills runs with --resume at `kills` random moments, and expects in the end the files that an
// undisturbed run writes.
void TryKilledRuns(int kills);
