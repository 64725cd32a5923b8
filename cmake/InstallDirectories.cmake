# At the installation, makes each missing directory down to `directory` below the prefix, open to
# everybody. CMake would make them within the umask, whatever
# CMAKE_INSTALL_DEFAULT_DIRECTORY_PERMISSIONS says, and the service account might not reach the
# launcher in them. Existing directories keep their mode.
set(level "$ENV{DESTDIR}${CMAKE_INSTALL_PREFIX}/${directory}")
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
