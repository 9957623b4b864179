# cmake -DINPUT=<file> -DOUTPUT=<file.cpp> -DSYMBOL=<name> -P EmbedFile.cmake
# Writes a C++ source holding the bytes of INPUT as an array, so a data file is built into the
# library without being read at run time.
file(READ "${INPUT}" hex HEX)
string(LENGTH "${hex}" hex_length)
math(EXPR size "${hex_length} / 2")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1," bytes "${hex}")
string(REGEX REPLACE "((0x[0-9a-f][0-9a-f],){16})" "\\1\n" bytes "${bytes}")
file(WRITE "${OUTPUT}.tmp"
  "// Generated from ${INPUT} at build time; do not edit.\n"
  "#include <cstddef>\n"
  "namespace fusekit::embedded {\n"
  "extern const unsigned char ${SYMBOL}[] = {\n${bytes}0x00};\n"
  "extern const std::size_t ${SYMBOL}Size = ${size};\n"
  "}  // namespace fusekit::embedded\n")
file(COPY_FILE "${OUTPUT}.tmp" "${OUTPUT}" ONLY_IF_DIFFERENT)
file(REMOVE "${OUTPUT}.tmp")
