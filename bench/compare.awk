# Compares what count printed with the table of counts in the baseline: a line for each figure that
# is more than 5 % away and for each job that only one of them has. Ends with status 1 when a figure
# rose so far, or when the jobs are not the same:
#   awk -f compare.awk BASELINE.md counts.tsv

function compare(job, what, before, now,    change) {
  change = (now - before) / before * 100
  if (change > 5) {
    printf "%s: %s rose by %.1f %%, from %d to %d\n", job, what, change, before, now
    status = 1
  } else if (change < -5) {
    printf "%s: %s fell by %.1f %%, from %d to %d; scripts/bench --baseline makes that the rule\n", \
      job, what, -change, before, now
  }
}

FILENAME ~ /\.md$/ {
  if (/^<!-- /) {
    inside = $2 == "counts"
  }
  if (inside && $4 ~ /^[0-9]+$/) { # | job | instructions | system calls |
    instructions[$2] = $4
    calls[$2] = $6
  }
  next
}

!($1 in calls) {
  print $1 ": not in the baseline"
  status = 1
  next
}
{
  compare($1, "instructions", instructions[$1], $2)
  compare($1, "system calls", calls[$1], $3)
  counted[$1]
  ++count
}

END {
  for (job in calls) {
    if (!(job in counted)) {
      print job ": in the baseline, but not counted"
      status = 1
    }
  }
  if (!status) {
    print count " jobs counted: none takes over 5 % more than the baseline"
  }
  exit status
}
