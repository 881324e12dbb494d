# The C blocks of a guide as one source file; the compiler speaks of the guide's own lines.
/^```/ {
    inside = $0 == "```c"
    if (inside) {
        printf "#line %d \"%s\"\n", NR + 1, FILENAME
    }
    next
}
inside
