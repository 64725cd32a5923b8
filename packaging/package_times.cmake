# CPack reads this when it makes the package. The times in a package are that of the change log, so
# one source gives one package.
if(NOT DEFINED ENV{SOURCE_DATE_EPOCH})
  execute_process(COMMAND dpkg-parsechangelog -l ${CMAKE_CURRENT_LIST_DIR}/changelog -S Timestamp
    OUTPUT_VARIABLE time OUTPUT_STRIP_TRAILING_WHITESPACE COMMAND_ERROR_IS_FATAL ANY)
  set(ENV{SOURCE_DATE_EPOCH} ${time})
endif()
# dpkg-shlibdeps looks for the libraries of this architecture.
if(CPACK_DEBIAN_PACKAGE_ARCHITECTURE)
  set(ENV{DEB_HOST_ARCH} ${CPACK_DEBIAN_PACKAGE_ARCHITECTURE})
endif()
