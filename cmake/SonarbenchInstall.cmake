# What is installed where. Components: sonarbench, for a unit; tools, for everybody who works without one.
include(GNUInstallDirs)

install(TARGETS sonarbench RUNTIME COMPONENT sonarbench)
install(FILES packaging/man/sonarbench.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT sonarbench)

if(SONARBENCH_SIMULATOR)
  install(TARGETS sonarbench-sim RUNTIME COMPONENT tools)
  # The place in which sonarbench-sim looks for it.
  install(TARGETS sonarbench-sim-calls LIBRARY DESTINATION ${CMAKE_INSTALL_LIBDIR}/sonarbench COMPONENT tools)
  install(FILES packaging/man/sonarbench-sim.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)

  # bash looks for a completion by the name of the program: one file under two names.
  set(completions ${CMAKE_INSTALL_DATADIR}/bash-completion/completions)
  install(FILES packaging/completion/sonarbench DESTINATION ${completions} COMPONENT tools)
  file(CREATE_LINK sonarbench ${CMAKE_BINARY_DIR}/sonarbench-sim.completion SYMBOLIC)
  install(FILES ${CMAKE_BINARY_DIR}/sonarbench-sim.completion DESTINATION ${completions} RENAME sonarbench-sim
          COMPONENT tools)

  install(FILES README.md CHANGELOG.md DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools)
  install(DIRECTORY docs examples DESTINATION ${CMAKE_INSTALL_DOCDIR} COMPONENT tools
          PATTERN CMakeLists.txt EXCLUDE)
endif()

if(SONARBENCH_STATION)
  install(TARGETS sonarbench-report RUNTIME COMPONENT tools)
  install(FILES packaging/man/sonarbench-report.1 DESTINATION ${CMAKE_INSTALL_MANDIR}/man1 COMPONENT tools)
  install(FILES station/report.schema.json DESTINATION ${CMAKE_INSTALL_DATADIR}/sonarbench COMPONENT tools)
  file(CREATE_LINK sonarbench ${CMAKE_BINARY_DIR}/sonarbench-report.completion SYMBOLIC)
  install(FILES ${CMAKE_BINARY_DIR}/sonarbench-report.completion
          DESTINATION ${CMAKE_INSTALL_DATADIR}/bash-completion/completions RENAME sonarbench-report COMPONENT tools)
endif()
