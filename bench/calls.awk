# Sorts the system calls in what strace -f wrote by what they are for. Prints, divided by tabs: how
# many there are, look-ups, log lines (given as lines), then the calls that belong to look-ups, to
# the log file, to standard output, and the rest: start, end, what is read once.

BEGIN {
  OFS = "\t"
}

# Without the process; and no signals, nor the end of a call whose begin was counted.
{
  sub(/^[0-9]+ +/, "")
}
!/^[a-z_0-9]+\(/ {
  next
}

{
  ++total
  name = substr($0, 1, index($0, "(") - 1)
  first = substr($0, index($0, "(") + 1)
  opened = name == "socket" || (name == "openat" && /"log\.txtcurrent\.log"/)
}

opened {
  descriptor = result($0)
  use[descriptor] = name == "socket" ? "look-up" : "log"
  lookups += name == "socket"
}
!opened {
  descriptor = first ~ /^[0-9]/ ? first + 0 : -1
  if (name ~ /^p?select6?$/) { # it takes the number behind the greatest descriptor
    --descriptor
  }
}

{
  ++calls[purpose()]
}
name == "close" {
  delete use[descriptor]
}

END {
  print total, lookups + 0, lines, calls["look-up"] + 0, calls["log"] + 0, calls["console"] + 0, \
    calls["rest"] + 0
}

function purpose() {
  if (descriptor in use) {
    return use[descriptor]
  }
  if (name == "getpid") { # for the number of the query
    return "look-up"
  }
  return descriptor == 1 ? "console" : "rest"
}

# result("CALL(...) = RESULT ...")
function result(line) {
  sub(/.*\) += /, "", line)
  return line + 0
}
