# From the JSON of the micro-benchmarks: a row each in the order of their definition, divided by
# tabs: its name, its time in ns (median, lowest and highest of the repetitions), the allocations of
# a run, the target and whether it is met:
#   awk -f statistics.awk -f micro.awk targets micro.json

BEGIN {
  FS = "\""
  OFS = "\t"
  nanoseconds["ns"] = 1
  nanoseconds["us"] = 1000
  nanoseconds["ms"] = 1000000
}

# One key a line:  "key": value,
$2 == "family_index" {
  place = number($3) * 1000
}
$2 == "per_family_instance_index" {
  place += number($3)
}
$2 == "run_name" {
  name = $4
  sub(/\/real_time$/, "", name)
  if (!(name in times)) {
    places[++count] = place
    at[place] = name
  }
}
$2 == "run_type" {
  repetition = $4 == "iteration"
}
$2 == "real_time" {
  value = number($3)
}
$2 == "time_unit" && repetition {
  time[name, ++times[name]] = value * nanoseconds[$4]
}
$2 == "allocations" && repetition {
  allocations[name] = number($3)
}

END {
  sort(places, count)
  for (i = 1; i <= count; ++i) {
    name = at[places[i]]
    for (j = 1; j <= times[name]; ++j) {
      values[j] = time[name, j]
    }
    middle = median(values, times[name])
    print name, figure(middle), figure(values[1]), figure(values[times[name]]), \
      name in allocations ? sprintf("%.1f", allocations[name]) : "", limit[name], met(middle, name)
  }
}

# number(": VALUE,")
function number(text) {
  gsub(/[^-+.0-9e]/, "", text)
  return text + 0
}

function figure(value) {
  return sprintf(value < 100 ? "%.1f" : "%.0f", value)
}
