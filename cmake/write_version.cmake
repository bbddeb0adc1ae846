# Writes what SOURCE is as C++ into OUTPUT, and leaves OUTPUT as it is when nothing has changed:
#   cmake -DSOURCE=... -DVERSION=... -DOUTPUT=... -P write_version.cmake
set(commit "")
set(date "")
find_program(GIT git)
if(GIT AND EXISTS ${SOURCE}/.git)
  execute_process(COMMAND ${GIT} -C ${SOURCE} log -1 --abbrev=12 --format=%h OUTPUT_VARIABLE commit ERROR_QUIET
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${GIT} -C ${SOURCE} log -1 --format=%cs OUTPUT_VARIABLE date ERROR_QUIET
                  OUTPUT_STRIP_TRAILING_WHITESPACE)
  execute_process(COMMAND ${GIT} -C ${SOURCE} status --porcelain --untracked-files=no OUTPUT_VARIABLE changes ERROR_QUIET)
  if(commit AND changes)
    string(APPEND commit ", with changes,")
  endif()
endif()
file(CONFIGURE OUTPUT ${OUTPUT} @ONLY
     CONTENT "#include \"tools/lumo/commands/version_text.h\"

namespace lumo {

BuildVersion ThisBuild() { return {\"@VERSION@\", \"@commit@\", \"@date@\"}; }

}  // namespace lumo
")
