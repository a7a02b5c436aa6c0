# Prints a page's blocks of one language (-v language=..., otherwise cpp) in order. The lines of C++
# are the page's to the compiler.
BEGIN { if (language == "") language = "cpp" }
$0 == "```" language {
    inside = 1
    if (language == "cpp") printf "#line %d \"%s\"\n", NR + 1, FILENAME
    next
}
/^```$/ { inside = 0 }
inside
