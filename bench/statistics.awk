# Functions for the awk programs beside it, and the targets: read first, as bench/targets, into
# limit[figure].

FILENAME ~ /targets$/ {
  if (split($0, word, " ") > 0 && !/^#/) {
    limit[word[1]] = word[2]
  }
  next
}

# met(VALUE, FIGURE): what the table says of it.
function met(value, figure) {
  if (limit[figure] == "") {
    return ""
  }
  return value <= limit[figure] ? "yes" : "no"
}

# median(VALUES, COUNT): of values[1] to values[count], which it sorts.
function median(values, count) {
  sort(values, count)
  return (values[int((count + 1) / 2)] + values[int(count / 2) + 1]) / 2
}

function sort(values, count,    i, j, value) {
  for (i = 2; i <= count; ++i) {
    value = values[i]
    for (j = i - 1; j > 0 && values[j] > value; --j) {
      values[j + 1] = values[j]
    }
    values[j + 1] = value
  }
}
