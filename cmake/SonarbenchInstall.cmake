# Installs the files. Components: sonarbench, for units; tools, for work without a unit.
include(GNUInstallDirs)

# sonarbench_install_compressed(FILE DIRECTORY COMPONENT): compresses as Debian requires, always to the same bytes.
function(sonarbench_install_compressed file directory component)
  cmake_path(GET file FILENAME name)
  set(compressed ${PROJECT_BINARY_DIR}/compressed/${component}/${name}.gz)
  cmake_path(GET compressed PARENT_PATH parent)
  file(MAKE_DIRECTORY ${parent})
  add_custom_command(
    OUTPUT ${compressed}
    COMMAND gzip -9nc ${file} > ${compressed}
    DEPENDS ${file}
    VERBATIM)
  add_custom_target(compressed-${component}-${name} ALL DEPENDS ${compressed})
  install(FILES ${compressed} DESTINATION ${directory} COMPONENT ${component})
endfunction()

function(sonarbench_install_manual program component)
  sonarbench_install_compressed(${PROJECT_SOURCE_DIR}/packaging/man/${program}.1 ${CMAKE_INSTALL_MANDIR}/man1
                                ${component})
endfunction()

# bash finds a completion by the name of the program, so one file has several names.
function(sonarbench_install_completion program)
  set(link ${PROJECT_BINARY_DIR}/${program}.completion)
  file(CREATE_LINK sonarbench ${link} SYMBOLIC)
  install(FILES ${link} DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME ${program}
          COMPONENT tools)
endfunction()

install(TARGETS sonarbench sonarbench-trace RUNTIME COMPONENT sonarbench)
# sonarbench-trace looks for it here.
install(TARGETS sonarbench-trace-library LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/sonarbench COMPONENT sonarbench)
sonarbench_install_manual(sonarbench sonarbench)
sonarbench_install_manual(sonarbench-trace sonarbench)

if(SONARBENCH_SIMULATOR)
  install(TARGETS sonarbench-sim RUNTIME COMPONENT tools)
  # sonarbench-sim looks for them here.
  install(TARGETS sonarbench-sim-supervisor sonarbench-sim-calls
          RUNTIME DESTINATION ${CMAKE_INSTALL_LIBDIR}/sonarbench COMPONENT tools
          LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/sonarbench COMPONENT tools)
  sonarbench_install_manual(sonarbench-sim tools)

  install(FILES packaging/completion/sonarbench DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions
          COMPONENT tools)
  sonarbench_install_completion(sonarbench-sim)
  install(FILES simulator/scene.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/sonarbench COMPONENT tools)

  install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
  install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools
          PATTERN CMakeLists.txt EXCLUDE
          REGEX "examples/station/[^/]*\\.(py|sh)$" PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ
                                                                 GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
endif()

if(SONARBENCH_STATION)
  install(TARGETS sonarbench-station RUNTIME COMPONENT tools)
  sonarbench_install_manual(sonarbench-station tools)
  sonarbench_install_completion(sonarbench-station)
  install(FILES station/limits.schema.json station/report.schema.json
          DESTINATION ${CMAKE_INSTALL_DATADIR}/sonarbench COMPONENT tools)
endif()
