# Read by cpack: what is packed carries the time of the change log, so that the same sources give the
# same bytes at any time.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND dpkg-parsechangelog -l ${CPACK_CHANGE_LOG} -S Timestamp
    OUTPUT_VARIABLE epoch OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${epoch})
endif()
