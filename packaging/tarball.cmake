# Packs the staged tree once more, with GNU tar: CPack's own archive has the order in which the file system lists the files, and the
# owner and modes of who packed. The same tree gives the same bytes. Read by cpack after it has packed a .tar.gz.
cmake_policy(VERSION 3.21)
cmake_path(GET CPACK_TEMPORARY_DIRECTORY PARENT_PATH folder)
execute_process(
  COMMAND tar --sort=name --format=gnu --owner=root:0 --group=root:0 --mode=u=rwX,go=rX --mtime=@$ENV{SOURCE_DATE_EPOCH}
    -C ${folder} -c ${CPACK_PACKAGE_FILE_NAME}
  COMMAND gzip -9n
  OUTPUT_FILE ${CPACK_PACKAGE_FILES}
  COMMAND_ERROR_IS_FATAL ANY)
