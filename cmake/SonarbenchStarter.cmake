# sonarbench_starter(TARGET VARIABLE): a file that starts a program from a shell; of a program for another processor, a
# script with its emulator, for a shell that leaves ignored signals as they are.
function(sonarbench_starter target variable)
  set(starter $<TARGET_FILE:${target}>)
  if(CMAKE_CROSSCOMPILING_EMULATOR)
    list(JOIN CMAKE_CROSSCOMPILING_EMULATOR " " emulator)
    set(script "#!/bin/bash\nexport SONARBENCH_EMULATOR='${emulator}'\nexec ${emulator} -0 \"$0\" ${starter} \"$@\"\n")
    set(starter ${CMAKE_BINARY_DIR}/emulated/${target})
    file(GENERATE OUTPUT ${starter} CONTENT ${script} FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE)
  endif()
  set(${variable} ${starter} PARENT_SCOPE)
endfunction()
