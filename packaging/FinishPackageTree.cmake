# Run by CPack between installing the components below its temporary directory and
# packing them: does to the files what Debian does to those of every package,
# whichever files the components hold.

file(GLOB_RECURSE manualPages "${CPACK_TEMPORARY_DIRECTORY}/*/usr/share/man/*.[1-8]")
foreach(page IN LISTS manualPages)
  execute_process(COMMAND gzip -9n ${page} COMMAND_ERROR_IS_FATAL ANY)
endforeach()

set(elfMagic 7f454c46)
file(GLOB_RECURSE files LIST_DIRECTORIES false "${CPACK_TEMPORARY_DIRECTORY}/*/usr/bin/*"
     "${CPACK_TEMPORARY_DIRECTORY}/*/usr/lib/*.so.*")
foreach(file IN LISTS files)
  file(READ "${file}" magic LIMIT 4 HEX)
  if(magic STREQUAL elfMagic AND NOT IS_SYMLINK "${file}")
    # Fits programs and shared libraries alike: both keep their dynamic symbols.
    execute_process(COMMAND strip --strip-unneeded --remove-section=.comment --remove-section=.note
                            ${file} COMMAND_ERROR_IS_FATAL ANY)
  endif()
endforeach()
