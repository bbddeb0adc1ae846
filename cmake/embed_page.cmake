# Writes the files of FOLDER as C++ into OUTPUT: cmake -DFOLDER=... -DOUTPUT=... -P embed_page.cmake
set(type_html "text/html; charset=utf-8")
set(type_css "text/css; charset=utf-8")
set(type_js "text/javascript; charset=utf-8")
set(type_svg "image/svg+xml")
file(GLOB_RECURSE parts RELATIVE ${FOLDER} ${FOLDER}/*)
list(SORT parts)
set(rows)
foreach(part IN LISTS parts)
  file(READ ${FOLDER}/${part} content)
  cmake_path(GET part EXTENSION LAST_ONLY extension)
  string(SUBSTRING ${extension} 1 -1 extension)
  set(path "/${part}")
  if(part STREQUAL "index.html")
    set(path "/")
  endif()
  string(APPEND rows "        {\"${path}\", \"${type_${extension}}\", R\"page~(${content})page~\"},\n")
endforeach()
file(WRITE ${OUTPUT}
     "#include \"tools/lumo/board/page_parts.h\"\n\nnamespace lumo {\n\n"
     "const std::vector<PagePart>& PageParts() {\n    static const std::vector<PagePart> parts = {\n${rows}    };\n"
     "    return parts;\n}\n\n}  // namespace lumo\n")
