# Makes of the blocks of a document, in Markdown, a shell script of steps:
#   awk -v steps=DIRECTORY -f steps.awk LINES DOCUMENT
# Of step N the script leaves in DIRECTORY what was printed (N.printed), said on standard error
# (N.errors) and its exit status (N.status); beside these stand its commands (N.command) and what
# they are to print (N.expected) or, where they are only to succeed, an empty N.succeeds.
# LINES: a file of command lines that are not to be run. Faults of the document are printed.

function write(line) { print line > (steps "/script") }

function begin(what) {
  step = steps "/" ++count
  printf "" > (step "." what)
  write("{")
  open = 1
  printing = 0
}

function command(line) {
  write(line)
  print line > (step ".command")
  continued = line ~ /\\$/
}

function finish() {
  if (open) {
    write("} > " step ".printed 2> " step ".errors < /dev/null; echo $? > " step ".status")
  }
  open = 0
}

FILENAME == ARGV[1] { left_out[$0]; next }

/^ +```|^ *~~~/ && kind == "" { print "a block that begins with no fence at the margin: " $0 }

/^```/ && kind == "" {
  kind = substr($1, 4)
  if (NF == 2) {
    kind = "file"
    file = steps "/" ++files ".file"
    printf "" > file
    write("mkdir -p \"$(dirname " $2 ")\" && cp " file " " $2)
  } else if (kind !~ /^(console|sh|text|mermaid)$/) {
    print "a block of no known kind: " $0
  }
  next
}
/^```$/ { finish(); kind = ""; next }

kind == "file" { print > file }

kind == "console" && /^\$ / { finish(); begin("expected"); command(substr($0, 3)); next }
kind == "console" && continued { command($0); next }
kind == "console" && open && /^> / && !printing { command(substr($0, 3)); next }
kind == "console" && open { print > (step ".expected"); printing = 1; next }
kind == "console" { print "output without a command: " $0 }

kind == "sh" && ($0 in left_out) { next }
kind == "sh" {
  if (!open) begin("succeeds")
  command($0)
  if (!continued) finish()
}

END {
  finish()
  if (kind != "") print "a block without an end"
}
