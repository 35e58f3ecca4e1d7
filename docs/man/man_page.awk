# SPDX-License-Identifier: GPL-3.0-or-later
# awk -v name=qvx-mesh -v line="design a mesh" -v version=0.1.0 -v see="qvx ..." -f man_page.awk: a man
# page from the help text of a command. There a title above indented lines begins a list of options,
# arguments or subcommands; below the lists, indented lines are literal, "Examples:" begins a section,
# and so does a paragraph "Exit status: ...".

# With what groff would take for something else.
function escaped(text) {
  gsub(/\\/, "\\e", text)
  gsub(/-/, "\\-", text)
  gsub(/'/, "\\(aq", text)
  gsub(/`/, "\\(ga", text)
  gsub(/\^/, "\\(ha", text)
  gsub(/~/, "\\(ti", text)
  return text ~ /^[.]/ ? "\\&" text : text
}

function bold(text) { return "\\fB" escaped(text) "\\fR" }
function italic(text) { return "\\fI" escaped(text) "\\fR" }
function add(text) { section[current] = section[current] text }

# "--data FILE REQUIRED": the name in bold, what is to be replaced in italics.
function item(head,    words, count, i, text) {
  count = split(head, words, " ")
  text = bold(words[1])
  sub(/,/, "\\fR, \\fB", text)
  for (i = 2; i <= count; ++i) {
    is_value = i == 2 && words[1] ~ /^-/ && words[2] != "REQUIRED" && words[2] !~ /:$/
    text = text " " (is_value ? italic(words[i]) : escaped(words[i]))
  }
  return text
}

# Where the head of an item ends: at two blanks, behind what it needs or excludes, or with the line.
function head_length(text) {
  if (match(text, /  +/)) return RSTART - 1
  if (match(text, /(Needs|Excludes):( --[a-z-]+)+|REQUIRED/)) return RSTART + RLENGTH - 1
  return length(text)
}

function begin_list(title) {
  current = title == "Subcommands:" ? "SUBCOMMANDS" : "OPTIONS"
  if (title == "Positionals:") title = "Arguments:"
  if (title ~ /^Options:/ && section["OPTIONS"] == "" || current == "SUBCOMMANDS") return
  add(".SS " substr(title, 1, length(title) - 1) "\n")
}

# The literal lines so far; long ones begin further to the left, so that they fit 80 columns.
function end_literal() {
  if (literal != "") add(".PP\n.nf\n" (longest > 72 ? ".in 2n\n" literal ".in\n" : literal) ".fi\n")
  literal = ""
  longest = 0
}

BEGIN { current = "DESCRIPTION" }

/^Usage: / { sub(/\n$/, ".\n", section[current]); sub(/[.][.]\n$/, ".\n", section[current]) }
/^Usage: / { usage = substr($0, 8); in_lists = 1; next }
in_lists && /^[A-Z].*:$/ { title = $0; next }
title != "" {
  if (/^  -/ || title ~ /^(Positionals|Subcommands):/) {
    begin_list(title)
  } else {
    in_lists = 0
    current = "DESCRIPTION"
    add(".PP\n" escaped(title) "\n")
  }
  title = ""
}
in_lists && /^                        / { sub(/^ +/, ""); add(escaped($0) "\n"); next }
in_lists && /^  / {
  head = substr($0, 3, head_length(substr($0, 3)))
  add(".TP\n" item(head) "\n")
  text = substr($0, 3 + length(head))
  sub(/^ +/, "", text)
  if (text != "") add(escaped(text) "\n")
  next
}
/^$/ {
  end_literal()
  if (!in_lists) add(".PP\n")
  if (current == "EXIT STATUS") current = "DESCRIPTION"
  next
}
in_lists { in_lists = 0; current = "DESCRIPTION"; add(".PP\n") }

/^Examples?:$/ { end_literal(); current = "EXAMPLES"; next }
/^  / {
  text = substr($0, 3)
  if (length(text) > longest) longest = length(text)
  literal = literal escaped(text) "\n"
  next
}
/^Exit status: / { current = "EXIT STATUS"; sub(/^Exit status: /, "") }
{ end_literal(); add(escaped($0) "\n") }

END {
  end_literal()
  if (section["EXIT STATUS"] == "") section["EXIT STATUS"] = "0 after success, 1 after an error.\n"
  printf ".TH %s 1 \"\" \"qvx %s\" \"User Commands\"\n.ad l\n.nh\n", escaped(toupper(name)), version
  split(usage, parts, / \[/)
  usage = bold(parts[1]) substr(usage, length(parts[1]) + 1)
  sub(/\[OPTIONS\]/, "[\\fIOPTIONS\\fR]", usage)
  sub(/[A-Za-z.]+$/, "\\fI&\\fR", usage)
  printf ".SH NAME\n%s \\- %s\n.SH SYNOPSIS\n%s\n", escaped(name), escaped(line), usage
  count = split("DESCRIPTION,SUBCOMMANDS,OPTIONS,EXIT STATUS,EXAMPLES", order, ",")
  for (i = 1; i <= count; ++i) {
    text = section[order[i]]
    gsub(/(\.PP\n)+\.PP\n/, ".PP\n", text)
    sub(/^(\.PP\n)+/, "", text)
    sub(/(\.PP\n)+$/, "", text)
    if (text != "") printf ".SH %s\n%s", order[i], text
  }
  print ".SH SEE ALSO"
  count = split(see, pages, " ")
  for (i = 1; i <= count; ++i) printf ".BR %s (1)%s\n", escaped(pages[i]), i < count ? "," : ""
  print ".PP\nThe guide, the messages and the file formats are among the documents that are installed"
  print "with the program, in share/doc/quorivex."
}
