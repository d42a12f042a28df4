# Runs over each package's folder before it is packed: manual pages compressed as Debian has them, and one time for all.
file(GLOB_RECURSE manuals ${CPACK_TEMPORARY_DIRECTORY}/*.1)
foreach(manual IN LISTS manuals)
  execute_process(COMMAND gzip -9nf ${manual} COMMAND_ERROR_IS_FATAL ANY)
endforeach()
if(DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND find ${CPACK_TEMPORARY_DIRECTORY} -exec touch -h -d @$ENV{SOURCE_DATE_EPOCH} {} +
                  COMMAND_ERROR_IS_FATAL ANY)
endif()
