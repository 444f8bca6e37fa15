# Fills in a manual page: cmake -DCOMMAND=fileref -DEXAMPLE=FILE -DTEMPLATE=FILE -DPAGE=FILE
# -DVERSION=V -DDOCDIR=DIR -DINCLUDEDIR=DIR -P manual.cmake
execute_process(COMMAND ${COMMAND} __manual OUTPUT_VARIABLE WORDS COMMAND_ERROR_IS_FATAL ANY)
file(READ ${EXAMPLE} EXAMPLE)
string(REGEX REPLACE "^//[^\n]*\n" "" EXAMPLE "${EXAMPLE}")
string(REPLACE "\\" "\\e" EXAMPLE "${EXAMPLE}")
string(REPLACE "-" "\\-" EXAMPLE "${EXAMPLE}")
string(TIMESTAMP DATE %Y-%m-%d UTC)  # or SOURCE_DATE_EPOCH
file(READ ${TEMPLATE} page)
string(CONFIGURE "${page}" page @ONLY)
file(WRITE ${PAGE} "${page}")
