# export_only(TARGET FILE): a shared library exports exactly the names in FILE, one per line.
function(export_only target exports)
  file(STRINGS ${exports} names)
  set(map_text "{\n  global:\n")
  foreach(name IN LISTS names)
    string(APPEND map_text "    ${name};\n")
  endforeach()
  string(APPEND map_text "  local:\n    *;\n};\n")
  set(map ${CMAKE_CURRENT_BINARY_DIR}/${target}.map)
  file(CONFIGURE OUTPUT ${map} CONTENT "${map_text}")
  set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS ${exports})
  # -Bsymbolic-functions: calls inside the library never use a function of the same name in another library.
  target_link_options(${target} PRIVATE
    LINKER:--version-script=${map} LINKER:-Bsymbolic-functions LINKER:--as-needed LINKER:-z,relro,-z,now)
  set_target_properties(${target} PROPERTIES
    VERSION ${PROJECT_VERSION} SOVERSION ${PROJECT_VERSION_MAJOR} LINK_DEPENDS "${map}")
endfunction()
