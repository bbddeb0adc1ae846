# Installs what lies in other places when the prefix is /usr, as a distribution has it. Run by `cmake --install` behind
# the values of `bindir`, `datadir`, `written` and `source`.
set(prefix ${CMAKE_INSTALL_PREFIX})
if(prefix STREQUAL "/usr")
  set(settings /etc/lumo)
  set(units /lib/systemd/system)
  set(functions ${prefix}/${datadir}/zsh/vendor-completions)
else()
  set(settings ${prefix}/etc/lumo)
  set(units ${prefix}/lib/systemd/system)
  set(functions ${prefix}/${datadir}/zsh/site-functions)
endif()
file(INSTALL ${written}/completions/_lumo DESTINATION ${functions})
# The settings of a server that is there already stay.
if(NOT EXISTS $ENV{DESTDIR}${settings}/mcu.conf)
  file(INSTALL ${written}/mcu.conf DESTINATION ${settings})
endif()
configure_file(${source}/lumo-mcu.service.in ${written}/lumo-mcu.service @ONLY)
file(INSTALL ${written}/lumo-mcu.service DESTINATION ${units})
