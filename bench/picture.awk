# Draws the rows of ratios.awk as SVG: a bar for each ratio, a thin line over its range as far as the
# picture goes, and an upright one at its target, red where it is missed:
#   awk -f picture.awk ratios.tsv

BEGIN {
  FS = "\t"
  left = 210
  top = 60
  row_height = 28
  unit = 400 # pixels
}

{
  name[NR] = $1 " / " $2
  ratio[NR] = $9
  low[NR] = $10
  high[NR] = $11
  target[NR] = $12
  met[NR] = $13
  longest = most(longest, 1.3 * most($9, $12))
}

END {
  bottom = top + NR * row_height
  width = longest * unit
  printf "<svg xmlns=\"http://www.w3.org/2000/svg\" width=\"%d\" height=\"%d\" " \
    "font-family=\"sans-serif\" font-size=\"12\">\n", left + width + 70, bottom + 40
  print "<rect width=\"100%\" height=\"100%\" fill=\"white\"/>"
  label(left, 24, "start", "Time of a job over that of another program; upright lines: targets")
  for (i = 0; i * 0.25 <= longest; ++i) {
    line(x(i * 0.25), top - 10, x(i * 0.25), bottom, "stroke=\"#ddd\"")
    label(x(i * 0.25), bottom + 18, "middle", sprintf("%.2f", i * 0.25))
  }
  for (i = 1; i <= NR; ++i) {
    bar(i, top + (i - 1) * row_height)
  }
  print "</svg>"
}

function bar(i, y,    paint) {
  paint = target[i] == "" ? "#bbb" : met[i] == "yes" ? "#6baed6" : "#fc9272"
  label(left - 10, y + 14, "end", name[i])
  printf "<rect x=\"%d\" y=\"%d\" width=\"%.1f\" height=\"18\" fill=\"%s\"/>\n", left, y, \
    ratio[i] * unit, paint
  line(x(low[i]), y + 9, x(least(high[i], longest)), y + 9, "stroke=\"black\"")
  if (target[i] != "") {
    line(x(target[i]), y - 3, x(target[i]), y + 21, \
      "stroke-width=\"2\" stroke=\"" (met[i] == "yes" ? "black" : "red") "\"")
  }
  label(x(longest) + 10, y + 14, "start", ratio[i])
}

function x(value) {
  return left + value * unit
}

function most(a, b) {
  return a + 0 > b + 0 ? a : b
}

function least(a, b) {
  return a + 0 < b + 0 ? a : b
}

function line(x1, y1, x2, y2, style) {
  printf "<line x1=\"%.1f\" y1=\"%.1f\" x2=\"%.1f\" y2=\"%.1f\" %s/>\n", x1, y1, x2, y2, style
}

function label(at_x, at_y, anchor, text) {
  printf "<text x=\"%.1f\" y=\"%.1f\" text-anchor=\"%s\">%s</text>\n", at_x, at_y, anchor, \
    text
}
