# From what callgrind_annotate prints: the ten functions that took the most instructions, a row each,
# divided by tabs: its name, the instructions and their share.

BEGIN {
  OFS = "\t"
}

#  1,234 (56.78%)  SOURCE:FUNCTION [PROGRAM]
/^ *[0-9,]+ \([ 0-9.]+%\)  .*:/ && ++rows <= 10 {
  instructions = $1
  share = substr($0, index($0, "(") + 1)
  sub(/%.*/, "%", share)
  sub(/^[^:]*:/, "")
  sub(/ \[[^]]*\]$/, "")
  print "`" $0 "`", instructions, share
}
