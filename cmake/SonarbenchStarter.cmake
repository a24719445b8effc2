# sonarbench_starter(TARGET VARIABLE): how to start a program that may be built for another processor. VARIABLE_words is
# a command for shell scripts. VARIABLE is a file: a script, whose shell resets ignored signals.
function(sonarbench_starter target variable)
  set(file $<TARGET_FILE:${target}>)
  set(words ${file})
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set(words "${emulator} -0 ${file} ${file}")
    set(file ${CMAKE_BINARY_DIR}/emulated/${target})
    file(GENERATE OUTPUT ${file} CONTENT "#!/bin/sh\nexport SONARBENCH_EMULATOR='${emulator}'\nexec ${words} \"$@\"\n"
         FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  endif()
  set(${variable} ${file} PARENT_SCOPE)
  set(${variable}_words ${words} PARENT_SCOPE)
endfunction()
