# Makes QoLiveReport.def, the C functions of LINKED (what the linker exported), and of it QoLiveReport.lib, an import library for
# Microsoft's linker, with DLLTOOL. Names of C++ are GCC's own, which no other compiler asks for.
file(STRINGS ${LINKED} names REGEX "^ *qolive_")
list(TRANSFORM names REPLACE "^ *(qolive_[a-z0-9_]+).*" "    \\1\n")
list(JOIN names "" names)
file(WRITE QoLiveReport.def "LIBRARY QoLiveReport.dll\nEXPORTS\n${names}")
execute_process(COMMAND ${DLLTOOL} -m i386:x86-64 -D QoLiveReport.dll -d QoLiveReport.def -l QoLiveReport.lib
                COMMAND_ERROR_IS_FATAL ANY)
