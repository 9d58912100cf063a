# Writes OUTPUT, the manual page: TEMPLATE, with the VERSION and what the
# program TARN, started by EMULATOR if there is one, says of its verbs.
execute_process(
  COMMAND ${EMULATOR} ${TARN} manual
  OUTPUT_VARIABLE VERBS
  OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
configure_file(${TEMPLATE} ${OUTPUT} @ONLY)
