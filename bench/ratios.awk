# From the targets and what runner printed: a row for each job and each command that it is compared
# with, divided by tabs: job, command, the time of spfcheck in ms (median, lowest, highest), that of
# the command, their ratio (of the medians of all rounds, then the lowest and the highest of ten
# parts of the rounds), the target and whether it is met:
#   awk -f statistics.awk -f ratios.awk targets times.tsv

BEGIN {
  FS = "\t"
  OFS = "\t"
}

!(($1, $2) in rounds) && $2 != "spfcheck" {
  job[++rows] = $1
  command[rows] = $2
}
{
  time[$1, $2, ++rounds[$1, $2]] = $4 / 1e6
}

END {
  for (row = 1; row <= rows; ++row) {
    figure = job[row] "/" command[row]
    ratio = part(row, 1, 1)
    print job[row], command[row], summary(job[row], "spfcheck"), summary(job[row], command[row]), \
      sprintf("%.2f", ratio), range_of_parts(row), limit[figure], met(ratio, figure)
  }
}

# summary(JOB, COMMAND): the three columns of its time.
function summary(job, command,    middle) {
  middle = median_of(job, command, 1, rounds[job, command])
  return sprintf("%.2f\t%.2f\t%.2f", middle, values[1], values[rounds[job, command]])
}

# median_of(JOB, COMMAND, FROM, TO): of these rounds; leaves them, sorted, in values.
function median_of(job, command, from, to,    i) {
  for (i = from; i <= to; ++i) {
    values[i - from + 1] = time[job, command, i]
  }
  return median(values, to - from + 1)
}

# part(ROW, NUMBER, COUNT): the ratio in this one of as many parts of the rounds.
function part(row, number, count,    all, from, to) {
  all = rounds[job[row], command[row]]
  from = int((number - 1) * all / count) + 1
  to = int(number * all / count)
  return median_of(job[row], "spfcheck", from, to) / median_of(job[row], command[row], from, to)
}

function range_of_parts(row,    count, number) {
  count = rounds[job[row], command[row]]
  count = count < 10 ? count : 10
  for (number = 1; number <= count; ++number) {
    parts[number] = part(row, number, count)
  }
  sort(parts, count)
  return sprintf("%.2f\t%.2f", parts[1], parts[count])
}
