# Prints a page's C++ blocks as one program whose lines are the page's to the compiler.
/^```cpp$/ {
    inside = 1
    printf "#line %d \"%s\"\n", NR + 1, FILENAME
    next
}
/^```$/ { inside = 0 }
inside
