# Makes one source of the samples that open the public headers: each is the body of a function, or, when it defines functions,
# of a class. What a sample leaves out ("...") is left out here. The names that it takes from its program are in Program.h.

function finish() {
    if (text == "") return
    name = file
    gsub(/[\/.]/, "_", name)
    printf "struct Sample_%s {\n", name
    if (!defines) print "bool Run() {"
    printf "#line %d \"%s\"\n%s", first, file, text
    if (!defines) print "return true;\n}"
    print "};\n"
    text = ""
}

BEGIN {
    for (i = 1; i < ARGC; ++i) printf "#include \"%s\"\n", substr(ARGV[i], length(root) + 2)
    print "#include \"tests/samples/Program.h\"\n"
}

FNR == 1 { finish(); file = substr(FILENAME, length(root) + 2); state = "before"; defines = 0 }

state == "after" { next }
!/^\/\// { if (state != "before") state = "after"; next }
/^\/\/ +(Threads|Ownership|Errors|Units)[:,]/ { state = "after"; next }

/^\/\/   / {
    if (state != "sample") { state = "sample"; first = FNR }
    line = substr($0, 6)
    if (line ~ /^(void|int|bool) [A-Za-z]+\(.*\) \{/) defines = 1
    sub(/^ *\.\.\.$/, "", line)
    sub(/^(\.\.\. )?[a-z ]+: +/, "", line)
    gsub(/\{ \.\.\. \}/, "{}", line)
    sub(/\) \.\.\.( |$)/, ") {} ", line)
    text = text line "\n"
    next
}
state == "sample" { if ($0 == "//") text = text "\n"; else state = "after"; next }
{ if (state == "before") state = "opening" }

END { finish() }
