# Makes Doxygen comments of the plain ones in a header, and prints it with them.
#
#   - The comment at the top documents the file, the class of its name and, behind their own, all
#     other classes.
#   - A comment above declarations documents each of them, up to the next blank line, but those
#     further down that are destructors or deleted; one behind a declaration documents that, too,
#     and one behind an include nothing.
#   - Indented lines stay as they are written; in all others no character is special.
#
# It relies on the sources' format: what continues a declaration is indented deeper than its start.
# Lines in Doxygen's warnings are those of what is printed here.

function indent(line) { return match(line, /[^ ]/) }

function escape(text) { gsub(/[\\@<>&#%"]/, "\\\\&", text); return text }

function set_verbatim(on) {
  if (on != verbatim) comment = comment (on ? "@verbatim\n" : "@endverbatim\n")
  verbatim = on
}

function has_name_of_file(class) {
  sub(/( :| \{).*/, "", class)
  sub(/.* /, "", class)
  return FILENAME ~ ("/" class "\\.h$")
}

function documentation(line) {
  if (comment == "" || indent(line) != level)
    return is_class(line) && has_name_of_file(line) ? top : ""
  if (is_class(line)) return comment "\n" top
  return fresh || line !~ /^ *(virtual )?~|= delete;$/ ? comment : ""
}

function is_class(line) { return line ~ /^(template .*\n)?(class|struct) .*\{$/ }

function print_comment(text) { if (text != "") printf "/**\n%s*/\n", text }

/^ *\/\// {
  if (!fresh) { comment = ""; level = indent($0) }
  fresh = 1
  sub(/^ *\/\//, "")
  set_verbatim(/^   /)
  comment = comment (verbatim ? $0 : escape($0)) "\n"
  next
}

{ set_verbatim(0) }
top == "" { top = comment; print_comment("@file\n" top); comment = "" }
/^$|^#include/ { comment = "" }

/^ *template <.*>$/ { template = $0 "\n"; next }
{ $0 = template $0; template = "" }

/^ *[^ }#]|^#define/ { print_comment(documentation($0)) }

!/^( *}|#include)/ && match($0, /  \/\/ /) {
  $0 = substr($0, 1, RSTART - 1) "  ///< " escape(substr($0, RSTART + 5))
}

{ print; fresh = 0 }
