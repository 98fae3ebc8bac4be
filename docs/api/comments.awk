# Prints a header with its plain comments turned into Doxygen comments.
#
#   - The comment at the top documents the file, the class of its name and, after their own comments,
#     all other classes.
#   - A comment above declarations documents each of them up to the next blank line, except destructors
#     and deleted functions further down. A comment after a declaration documents it, too; one after an
#     include documents nothing.
#   - Indented lines are kept verbatim; in other lines no character is special.
#
# It relies on the sources' format: the continuation of a declaration is indented deeper than its start.
# Line numbers in Doxygen's warnings are those of the output.

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
