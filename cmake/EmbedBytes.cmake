# Writes a C++ file that holds the bytes of another: OBJECT, as the array NAME and its size NAMESize,
# which HEADER declares, into OUTPUT.
file(READ ${OBJECT} bytes HEX)
string(REGEX REPLACE "(................................)" "\\1\n" bytes "${bytes}")
string(REGEX REPLACE "([0-9a-f][0-9a-f])" "0x\\1, " bytes "${bytes}")
file(WRITE ${OUTPUT} "#include \"${HEADER}\"

namespace marrow {

alignas(16) const unsigned char ${NAME}[] = {
${bytes}};
const std::size_t ${NAME}Size = sizeof(${NAME});

}  // namespace marrow
")
