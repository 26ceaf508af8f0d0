# Lays down what packaging/files.txt lists; the places are fixed, since the daemon has them compiled in. Each
# package is a component: cmake --install BUILD --component websec-catserver.
find_program(SCDOC scdoc REQUIRED)

function(websec_install_one package source place keep)
  cmake_path(GET place PARENT_PATH folder)
  cmake_path(GET place FILENAME name)
  if(source MATCHES "^target:(.*)")
    install(TARGETS ${CMAKE_MATCH_1} RUNTIME DESTINATION ${folder} COMPONENT ${package}
                                     LIBRARY DESTINATION ${folder} COMPONENT ${package})
    return()
  elseif(source MATCHES "^man:(.*)")
    websec_man_page(${CMAKE_MATCH_1})
    set(file ${CMAKE_BINARY_DIR}/man/${CMAKE_MATCH_1})
  elseif(source MATCHES "^build:(.*)")
    set(file ${CMAKE_BINARY_DIR}/${CMAKE_MATCH_1})
  else()
    set(file ${CMAKE_SOURCE_DIR}/${source})
  endif()
  if(keep STREQUAL "keep")
    install(CODE "
      if(NOT EXISTS \"\$ENV{DESTDIR}${place}\")
        file(INSTALL \"${file}\" DESTINATION \"${folder}\")
      endif()" COMPONENT ${package})
  elseif(folder MATCHES "libexec")
    install(PROGRAMS ${file} DESTINATION ${folder} RENAME ${name} COMPONENT ${package})
  else()
    install(FILES ${file} DESTINATION ${folder} RENAME ${name} COMPONENT ${package})
  endif()
endfunction()

function(websec_man_page name)
  set(source ${CMAKE_SOURCE_DIR}/packaging/man/${name}.scd)
  set(page ${CMAKE_BINARY_DIR}/man/${name})
  add_custom_command(
    OUTPUT ${page}
    COMMAND ${CMAKE_COMMAND} -E make_directory ${CMAKE_BINARY_DIR}/man
    COMMAND ${SCDOC} < ${source} > ${page}
    DEPENDS ${source})
  set_property(GLOBAL APPEND PROPERTY websec_man_pages ${page})
endfunction()

set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${CMAKE_SOURCE_DIR}/packaging/files.txt)
file(STRINGS packaging/files.txt lines REGEX "^[^#]")
foreach(line ${lines})
  string(REGEX MATCHALL "[^ ]+" words "${line}")
  list(APPEND words "" "")
  list(GET words 0 package)
  list(GET words 1 source)
  list(GET words 2 place)
  list(GET words 3 keep)
  websec_install_one("${package}" "${source}" "${place}" "${keep}")
endforeach()

get_property(man_pages GLOBAL PROPERTY websec_man_pages)
add_custom_target(man ALL DEPENDS ${man_pages})
# Whoever builds the programs one by one has the pages when it comes to installing.
add_dependencies(websecctl man)

# What the administrator's own folder of lists and settings hangs on; made by whoever writes there first, too.
install(DIRECTORY DESTINATION /var/lib/websec COMPONENT websec)
