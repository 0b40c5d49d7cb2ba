# Installs the build into a temporary prefix and checks that every file lands in its
# standard place, that the user unit runs the recorder, and that the man page and the
# three shell completions know every command the program lists in --help.
#   cmake -DBUILD=<build> -DSOURCE=<source> -DBINARY=<quillmere> -P CheckInstall.cmake
string(RANDOM LENGTH 8 suffix)
set(prefix "${BUILD}/install-check-${suffix}")
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD} --prefix ${prefix}
                RESULT_VARIABLE result OUTPUT_QUIET ERROR_VARIABLE error)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "cmake --install failed: ${error}")
endif()

# The man page is compressed where gzip is found (always on Debian), plain otherwise.
set(manpage share/man/man1/quillmere.1.gz)
if(NOT EXISTS "${prefix}/${manpage}")
  set(manpage share/man/man1/quillmere.1)
endif()
set(expected
    bin/quillmere
    ${manpage}
    share/bash-completion/completions/quillmere
    share/zsh/vendor-completions/_quillmere
    share/fish/vendor_completions.d/quillmere.fish
    lib/systemd/user/quillmere.service
    share/quillmere/processes.json
    share/doc/quillmere/LICENSE)
set(missing "")
foreach(file ${expected})
  if(NOT EXISTS "${prefix}/${file}")
    list(APPEND missing ${file})
  endif()
endforeach()
if(missing)
  file(REMOVE_RECURSE ${prefix})
  message(FATAL_ERROR "not installed: ${missing}")
endif()

file(READ "${prefix}/lib/systemd/user/quillmere.service" unit)
if(NOT unit MATCHES "ExecStart=/[^\n]*/bin/quillmere record")
  message(FATAL_ERROR "the user unit does not start the recorder:\n${unit}")
endif()

# Every command in --help appears in the man page and in each completion.
execute_process(COMMAND ${BINARY} --help OUTPUT_VARIABLE help RESULT_VARIABLE result)
string(REGEX MATCH "Subcommands:\n.*" commands_block "${help}")
string(REGEX MATCHALL "\n  [a-z]+" commands "${commands_block}")
list(LENGTH commands count)
if(count LESS 10)
  message(FATAL_ERROR "could not read the commands from --help:\n${help}")
endif()
if(manpage MATCHES "\\.gz$")
  execute_process(COMMAND gzip -dc "${prefix}/${manpage}" OUTPUT_VARIABLE man RESULT_VARIABLE result)
  if(NOT result EQUAL 0)
    message(FATAL_ERROR "the installed man page is not gzip: ${result}")
  endif()
else()
  file(READ "${prefix}/${manpage}" man)
endif()
file(READ "${prefix}/share/bash-completion/completions/quillmere" bash)
file(READ "${prefix}/share/zsh/vendor-completions/_quillmere" zsh)
file(READ "${prefix}/share/fish/vendor_completions.d/quillmere.fish" fish)
set(unknown "")
foreach(entry ${commands})
  string(STRIP "${entry}" command)
  if(NOT man MATCHES "\n\\.B ${command}[ \n]")
    list(APPEND unknown "man:${command}")
  endif()
  if(NOT bash MATCHES "[ \"]${command}[ \"]")
    list(APPEND unknown "bash:${command}")
  endif()
  if(NOT zsh MATCHES "'${command}:")
    list(APPEND unknown "zsh:${command}")
  endif()
  if(NOT fish MATCHES "-a ${command} ")
    list(APPEND unknown "fish:${command}")
  endif()
endforeach()
file(REMOVE_RECURSE ${prefix})
if(unknown)
  message(FATAL_ERROR "commands missing from the man page or completions: ${unknown}")
endif()
message(STATUS "installed layout ok (${count} commands documented)")
