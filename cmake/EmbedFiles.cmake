# Writes a C++ source that holds files: one "extern const" a file, as view/PageParts.h declares them. As numbers, because
# compilers limit the length of texts.
# cmake -D OUTPUT=FILE -D HEADER=FILE -D PARTS=NAME:FILE,NAME:FILE… -P EmbedFiles.cmake
string(REPLACE "," ";" parts "${PARTS}")
set(source "#include \"${HEADER}\"\n\nnamespace host::view {\n\nnamespace {\n\n")
set(definitions "")
foreach(part ${parts})
  string(REGEX MATCH "^([^:]+):(.+)$" ignored "${part}")
  set(name ${CMAKE_MATCH_1})
  file(READ ${CMAKE_MATCH_2} digits HEX)
  file(SHA256 ${CMAKE_MATCH_2} hash)
  string(REGEX REPLACE "(..)" "'\\\\x\\1'," bytes "${digits}")
  string(REGEX REPLACE "((......,){16})" "\\1\n" bytes "${bytes}")
  string(APPEND source "constexpr char k${name}Bytes[] = {\n${bytes}};\n\n")
  string(APPEND definitions "const PagePart kPage${name} = {{k${name}Bytes, sizeof k${name}Bytes}, \"${hash}\"};\n")
endforeach()
string(APPEND source "} // namespace\n\n${definitions}\n} // namespace host::view\n")
file(WRITE ${OUTPUT} "${source}")
