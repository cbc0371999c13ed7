# Makes a manual page's list of the rows that `webcontainer --settings` writes: keys by table, and of each its default,
# its range, its meaning, and what happens beyond.
function roff(s) {
    gsub(/\\/, "\\e", s)
    gsub(/-/, "\\-", s)
    gsub(/`[^`]*`/, "\\fB&\\fR", s)
    gsub(/`/, "", s)
    return s
}
BEGIN { FS = " \\| " }
/^\| / {
    key = substr($1, 4, length($1) - 4)
    n = match(key, /[^\/]*$/)
    name = substr(key, n)
    table = substr(key, 1, n - 2)
    gsub(/\//, ".", table)
    if (table != last || NR == 1) print ".SS " (table ? "[" table "]" : "Before any table")
    last = table
    sub(/ \|$/, "", $5)
    print ".TP"
    print ".B " (name == "*" ? "(any key)" : name)
    facts = $2 ($2 != "" && $3 != "" ? "; " : "") $3
    if (facts != "") print roff(facts) "."
    if (facts != "") print ".br"
    print "\\&" roff($4) "."
    if ($5 != "") print ".br\nBeyond: " roff($5) "."
}
