# Makes a manual page's list of the rows that `webcontainer --settings` writes: keys by table, and of each its values,
# its meaning, and what happens beyond.
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
    sub(/ \|$/, "", $3)
    print ".TP"
    print ".B " (name == "*" ? "(any key)" : name)
    if ($2 != "") print roff($2) ".\n.br"
    split($3, meanings, / \*Beyond:\* /)
    sub(/\.$/, "", meanings[1])
    print "\\&" roff(meanings[1]) "."
    if (meanings[2] != "") print ".br\nBeyond: " roff(meanings[2]) "."
}
