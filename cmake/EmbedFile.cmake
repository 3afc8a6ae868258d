# cmake -DINPUT=<file> -DOUTPUT=<file.cpp> -DNAME=<symbol> -P EmbedFile.cmake
# Writes a C++ source defining `unsigned char NAME[]` with the file's bytes, byte for byte, in the
# writable data area, and `const uint64_t NAME_size`. The assembler includes the bytes itself, so
# a large file costs no compile time; the object must depend on INPUT (OBJECT_DEPENDS).
file(WRITE "${OUTPUT}.tmp"
"// Generated from ${INPUT} by cmake/EmbedFile.cmake; do not edit.
asm(\".pushsection .data.${NAME},\\\"aw\\\",@progbits\\n\"
    \".balign 16\\n\"
    \".globl ${NAME}\\n.hidden ${NAME}\\n.type ${NAME},@object\\n\"
    \"${NAME}:\\n\"
    \".incbin \\\"${INPUT}\\\"\\n\"
    \".L${NAME}_end:\\n\"
    \".size ${NAME}, .L${NAME}_end - ${NAME}\\n\"
    \".balign 8\\n\"
    \".globl ${NAME}_size\\n.hidden ${NAME}_size\\n.type ${NAME}_size,@object\\n\"
    \"${NAME}_size:\\n\"
    \".quad .L${NAME}_end - ${NAME}\\n\"
    \".size ${NAME}_size, 8\\n\"
    \".popsection\\n\");
")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
