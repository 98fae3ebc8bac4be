# From the targets and what count, runner and micro.awk printed: the figures that are no times, a
# row each, divided by tabs: what it is, the figure, the target and whether it is met:
#   awk -f statistics.awk -f limits.awk targets counts.tsv times.tsv micro.tsv

BEGIN {
  FS = "\t"
  OFS = "\t"
}

FILENAME ~ /counts\.tsv$/ {
  for (i = 2; i <= NF; ++i) {
    count[$1, i] = $i
  }
  next
}
FILENAME ~ /micro\.tsv$/ {
  if (split($1, part, "/") == 3 && part[1] == "Linear") {
    if (!(part[2] in known)) {
      known[part[2]]
      series[++growing] = part[2]
    }
    item[part[2], part[3]] = $2 / part[3]
  }
  next
}
$2 == "spfcheck" || $2 == "floor" {
  peak[$1, $2, ++rounds[$1, $2]] = $5
  jobs[$1]
}

END {
  row("instructions of the check of a given record", count["given", 2], "given/instructions")
  row("system calls of a look-up", each(6, 4), "look-up/calls")
  row("system calls of a log line, on the file", each(7, 5), "line/calls")
  row("system calls of a log line, on standard output", each(8, 5), "console/calls")
  row("peak memory above the floor's, KiB", memory(), "memory")
  for (i = 1; i <= growing; ++i) {
    row("time for an item of " series[i] ", at 10,000 over at 1,024", \
      sprintf("%.2f", item[series[i], 10000] / item[series[i], 1024]), "growth")
  }
}

function row(name, value, figure) {
  print name, value, limit[figure], met(value, figure)
}

# each(CALLS, THINGS): the calls in that column for each of what another column counts, by the
# difference between two jobs, which has no start and no end in it.
function each(calls, things) {
  return (count["chain10", calls] - count["chain1", calls]) / \
    (count["chain10", things] - count["chain1", things])
}

# memory(): the most that a job takes above its floor.
function memory(    job, above, most) {
  for (job in jobs) {
    if (job != "bulk" && (job, "floor") in rounds) {
      above = median_peak(job, "spfcheck") - median_peak(job, "floor")
      most = above > most ? above : most
    }
  }
  return most
}

function median_peak(job, command,    i) {
  for (i = 1; i <= rounds[job, command]; ++i) {
    values[i] = peak[job, command, i]
  }
  return median(values, rounds[job, command])
}
