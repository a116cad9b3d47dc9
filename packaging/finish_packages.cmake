# Run by CPack over what it has installed for the packages: puts in what Debian wants in each, and
# compresses what Debian wants compressed.
function(run)
  execute_process(COMMAND ${ARGN} COMMAND_ERROR_IS_FATAL ANY)
endfunction()

execute_process(COMMAND date --rfc-email --date=@$ENV{SOURCE_DATE_EPOCH}
                OUTPUT_VARIABLE KSIGIL_RELEASE_DATE OUTPUT_STRIP_TRAILING_WHITESPACE
                COMMAND_ERROR_IS_FATAL ANY)
foreach(package IN LISTS CPACK_COMPONENTS_ALL)
  set(tree ${CPACK_TEMPORARY_DIRECTORY}/${package}/usr/share)
  set(documents ${tree}/doc/${package})
  configure_file(${CPACK_KSIGIL_DEBIAN_FILES}/copyright ${documents}/copyright COPYONLY)
  configure_file(${CPACK_KSIGIL_DEBIAN_FILES}/changelog.in ${documents}/changelog.Debian @ONLY)
  configure_file(${CPACK_KSIGIL_CHANGES} ${documents}/changelog COPYONLY)
  file(GLOB pages ${tree}/man/man*/*)
  run(gzip -9n ${documents}/changelog.Debian ${documents}/changelog ${pages})
endforeach()
