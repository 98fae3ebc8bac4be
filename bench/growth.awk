# Draws, from the rows of micro.awk that are named Linear/WHAT/NUMBER, the time against the number,
# both in powers of ten, as SVG:
#   awk -f growth.awk micro.tsv

BEGIN {
  FS = "\t"
  left = 80
  top = 50
  decade = 90 # pixels
  split("#1f77b4 #d62728 #2ca02c #9467bd #ff7f0e #17becf #8c564b #e377c2", colour, " ")
}

$1 ~ /^Linear\// {
  split($1, part, "/")
  if (!(part[2] in points)) {
    series[++count] = part[2]
  }
  ++points[part[2]]
  n[part[2], points[part[2]]] = part[3]
  time[part[2], points[part[2]]] = $2
  columns = most(columns, log10(part[3]))
  rows = most(rows, log10($2))
}

END {
  columns = ceiling(columns)
  rows = ceiling(rows)
  bottom = top + rows * decade
  right = left + columns * decade
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" " \
    "font-family=\"sans-serif\" font-size=\"12\">\n", right + 280, bottom + 60
  print "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>"
  label(left, 24, "start", "Time by number of items; along a dotted line it grows as the number does")
  axes()
  for (i = 1; i <= count; ++i) {
    curve(series[i], colour[(i - 1) % 8 + 1], i)
  }
  print "</svg>"
}

function axes(    i) {
  for (i = 0; i <= columns; ++i) {
    line(x(i), top, x(i), bottom, "stroke=\"#ddd\"")
    label(x(i), bottom + 18, "middle", 10 ^ i)
  }
  for (i = 0; i <= rows; ++i) {
    line(left, y(i), right, y(i), "stroke=\"#ddd\"")
    label(left - 8, y(i) + 4, "end", duration(i))
  }
  for (i = 0; i + columns <= rows; ++i) {
    line(left, y(i), right, y(i + columns), "stroke=\"#999\" stroke-dasharray=\"2 4\"")
  }
  label((left + right) / 2, bottom + 40, "middle", "items")
}

function curve(name, paint, number,    i, path) {
  for (i = 1; i <= points[name]; ++i) {
    path = path sprintf("%.1f,%.1f ", x(log10(n[name, i])), y(log10(time[name, i])))
  }
  printf "<polyline points=\"%s\" fill=\"none\" stroke=\"%s\" stroke-width=\"2\"/>\n", path, paint
  line(right + 20, top + number * 20 - 4, right + 44, top + number * 20 - 4, \
    "stroke=\"" paint "\" stroke-width=\"2\"")
  label(right + 52, top + number * 20, "start", name)
}

function x(power) {
  return left + power * decade
}

function y(power) {
  return top + (rows - power) * decade
}

function log10(value) {
  return log(value) / log(10)
}

function ceiling(value) {
  return int(value) + (value > int(value))
}

function most(a, b) {
  return a > b ? a : b
}

# duration(POWER): of as many nanoseconds.
function duration(power) {
  return power < 3 ? 10 ^ power " ns" : power < 6 ? 10 ^ (power - 3) " µs" : 10 ^ (power - 6) " ms"
}

function line(x1, y1, x2, y2, style) {
  printf "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" %s/>\n", x1, y1, x2, y2, style
}

function label(at_x, at_y, anchor, text) {
  printf "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\">%s</text>\n", at_x, at_y, anchor, \
    text
}
