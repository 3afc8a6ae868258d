# cmake -DINPUT=<file> -DOUTPUT=<file.cpp> -DNAME=<symbol> -P EmbedFile.cmake
# Writes a C++ source defining `unsigned char NAME[]` with the file's bytes, byte for byte, and
# `const uint64_t NAME_size`.
file(READ "${INPUT}" content HEX)
string(LENGTH "${content}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${content}")
string(REGEX REPLACE "((0x[0-9a-f][0-9a-f],){16})" "\\1\n    " bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
"// Generated from ${INPUT}; do not edit.\n#include <cstdint>\n\n"
"extern unsigned char ${NAME}[];\nextern const uint64_t ${NAME}_size;\n\n"
"unsigned char ${NAME}[] = {\n    ${bytes}\n};\nconst uint64_t ${NAME}_size = ${size};\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
