# CPack runs this in front of packing. It has made the folders down to the prefix within the umask.
file(GLOB_RECURSE entries LIST_DIRECTORIES true ${CPACK_TEMPORARY_INSTALL_DIRECTORY}/*)
foreach(entry IN LISTS entries)
  if(IS_DIRECTORY ${entry})
    file(CHMOD ${entry} DIRECTORY_PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endif()
endforeach()
