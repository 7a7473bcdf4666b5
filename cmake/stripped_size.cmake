# cmake -DSTRIP=... -DPROGRAM=... -P stripped_size.cmake: prints the bytes of the program without its symbols.
execute_process(COMMAND ${STRIP} -o ${PROGRAM}.stripped ${PROGRAM} COMMAND_ERROR_IS_FATAL ANY)
file(SIZE ${PROGRAM}.stripped size)
file(REMOVE ${PROGRAM}.stripped)
cmake_path(GET PROGRAM FILENAME name)
message("${name}: ${size} bytes stripped")
