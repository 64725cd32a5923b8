# At the installation, makes each missing directory on the path of each of `directories`, open to
# everybody. Relative ones are below the prefix. CMake would make them within the umask, whatever
# CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS says, and the service account might not reach the
# launcher in them. Existing directories keep their mode.
foreach(directory IN LISTS directories)
  cmake_path(ABSOLUTE_PATH directory BASE_DIRECTORY "${CMAKE_INSTALL_PREFIX}")
  set(level "$ENV{DESTDIR}${directory}")
  cmake_path(ABSOLUTE_PATH level)
  set(missing)
  while(NOT EXISTS "${level}")
    list(PREPEND missing "${level}")
    cmake_path(GET level PARENT_PATH level)
  endwhile()
  foreach(level IN LISTS missing)
    file(MAKE_DIRECTORY "${level}")
    file(CHMOD "${level}" DIRECTORY_PERMISSIONS
      OWNER_READ OWNER_WRITE OWNER_EXECUTE GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  endforeach()
endforeach()
