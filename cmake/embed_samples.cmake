# Writes FILES as C++ into OUTPUT: cmake -DFILES=a.opus,b.h264 -DOUTPUT=... -P embed_samples.cmake
string(REPLACE "," ";" files "${FILES}")
set(text "#include \"tools/lumo/demo/samples.h\"\n\nnamespace lumo {\nnamespace {\n\n")
set(rows)
foreach(file IN LISTS files)
  get_filename_component(name ${file} NAME)
  string(MAKE_C_IDENTIFIER k_${name} symbol)
  file(READ ${file} bytes HEX)
  string(REGEX REPLACE "(..)" "0x\\1," bytes "${bytes}")
  string(APPEND text "const unsigned char ${symbol}[] = {${bytes}};\n")
  string(APPEND rows
         "    if (name == \"${name}\") return {reinterpret_cast<const char*>(${symbol}), sizeof ${symbol}};\n")
endforeach()
file(WRITE ${OUTPUT}
     "${text}\n}  // namespace\n\nstd::string_view Sample(std::string_view name) {\n${rows}    return {};\n}\n\n"
     "}  // namespace lumo\n")
