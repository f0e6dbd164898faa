# Compresses the man pages in the folders that the packages are made of, as Debian has them.
file(GLOB_RECURSE pages ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*.[1-9])
list(FILTER pages INCLUDE REGEX "/share/man/")
if(pages)
  execute_process(COMMAND gzip -9n ${pages} COMMAND_ERROR_IS_FATAL ANY)
endif()
