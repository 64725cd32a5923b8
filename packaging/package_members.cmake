# CPack runs this behind packing. It has given the members of the archive the modes that the umask
# left. "ar" gives every member the same mode, owner and time (D).
set(members debian-binary control.tar.gz data.tar.gz)
foreach(package IN LISTS CPACK_PACKAGE_FILES)
  cmake_path(GET package PARENT_PATH folder)
  execute_process(COMMAND ar x ${package} WORKING_DIRECTORY ${folder} COMMAND_ERROR_IS_FATAL ANY)
  file(REMOVE ${package})
  execute_process(COMMAND ar qcD ${package} ${members} WORKING_DIRECTORY ${folder}
    COMMAND_ERROR_IS_FATAL ANY)
endforeach()
