# Writes rows, divided by tabs, as a Markdown table that is one on a terminal, too:
#   awk -v heads="NAME|NAME..." -f table.awk ROWS
# A column that holds nothing but numbers stands to the right.

BEGIN {
  FS = "\t"
  columns = split(heads, cell, "|")
  for (i = 1; i <= columns; ++i) {
    put(0, i, cell[i])
  }
}

{
  ++rows
  for (i = 1; i <= columns; ++i) {
    put(rows, i, $i)
    if ($i !~ /^[0-9.]*$/) {
      text[i]
    }
  }
}

END {
  print_row(0)
  for (i = 1; i <= columns; ++i) {
    printf "|%s%s", dashes(width[i] + 1), i in text ? "-" : ":"
  }
  print "|"
  for (row = 1; row <= rows; ++row) {
    print_row(row)
  }
}

function put(row, column, value) {
  table[row, column] = value
  if (length(value) > width[column]) {
    width[column] = length(value)
  }
}

function print_row(row,    i) {
  for (i = 1; i <= columns; ++i) {
    printf "| %" (i in text ? "-" : "") width[i] "s ", table[row, i]
  }
  print "|"
}

function dashes(count,    line) {
  while (count-- > 0) {
    line = line "-"
  }
  return line
}
