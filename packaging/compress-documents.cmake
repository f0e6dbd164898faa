# Compresses man pages and changelogs in the folders that the packages are made of, as Debian has them.
file(GLOB_RECURSE documents ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-9]
     ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/changelog)
list(FILTER documents INCLUDE REGEX "/share/(man|doc)/")
if(documents)
  execute_process(COMMAND gzip -9n ${documents} COMMAND_ERROR_IS_FATAL ANY)
endif()
