# Fails when the platform library exports anything beyond the appliance interface (the
# VLIB... and VEXO... functions, the PKCE pair generator and the cron job manager with its
# type information), or when the library (LIBRARY) defines any of those names itself
# instead of taking them from the platform.
cmake_minimum_required(VERSION 3.18)

# The dynamic symbols `lib` defines, one name each.
function(defined_symbols lib out)
  execute_process(COMMAND nm -D --defined-only --format=just-symbols ${lib}
                  OUTPUT_VARIABLE names RESULT_VARIABLE rc)
  if(NOT rc EQUAL 0)
    message(FATAL_ERROR "nm failed on ${lib}")
  endif()
  string(STRIP "${names}" names)
  string(REPLACE "\n" ";" names "${names}")
  set(${out} "${names}" PARENT_SCOPE)
endfunction()

defined_symbols(${PLATFORM} platform_names)
set(interface "")
set(bad "")
foreach(name ${platform_names})
  if(name MATCHES "^_init$" OR name MATCHES "^_fini$")
    continue()
  endif()
  if(name MATCHES "^VLIB" OR name MATCHES "^VEXO" OR name MATCHES "^vexo_challenge_verifier_no_save$"
     OR name MATCHES "^_ZN4VEXO9VEXOCrond13ConfigManager"
     OR name MATCHES "^_ZT[ISV]N4VEXO9VEXOCrond13ConfigManagerE$")
    list(APPEND interface "${name}")
  else()
    list(APPEND bad "${name}")
  endif()
endforeach()
if(bad)
  message(FATAL_ERROR "unexpected exports of the platform library: ${bad}")
endif()
if(NOT "VLIBCSzHashAlloc" IN_LIST interface OR NOT "_ZTVN4VEXO9VEXOCrond13ConfigManagerE" IN_LIST interface)
  message(FATAL_ERROR "the platform library does not export its interface: ${interface}")
endif()

defined_symbols(${LIBRARY} library_names)
set(absorbed "")
foreach(name ${interface})
  if(name IN_LIST library_names)
    list(APPEND absorbed "${name}")
  endif()
endforeach()
if(absorbed)
  message(FATAL_ERROR "the library exports the platform's own interface: ${absorbed}")
endif()
message(STATUS "platform exports ok")
