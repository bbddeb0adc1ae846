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
# In a folder of this run: two may install at once.
string(RANDOM LENGTH 16 run)
configure_file(${source}/lumo-mcu.service.in ${written}/${run}/lumo-mcu.service @ONLY)
file(INSTALL ${written}/${run}/lumo-mcu.service DESTINATION ${units})
file(REMOVE_RECURSE ${written}/${run})
