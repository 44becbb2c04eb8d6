# Installs the build into a scratch prefix and checks the plug-in's folder:
# the library beside its Resources, the installer scripts executable.
set(prefix ${BUILD_DIR}/install-layout-check)
file(REMOVE_RECURSE ${prefix})
execute_process(COMMAND ${CMAKE_COMMAND} --install ${BUILD_DIR} --prefix ${prefix} RESULT_VARIABLE result
                OUTPUT_QUIET)
if(NOT result EQUAL 0)
    message(FATAL_ERROR "cmake --install failed: ${result}")
endif()
file(GLOB_RECURSE libraries ${prefix}/*/MacCapture.plugin/libMacCapture.so)
list(LENGTH libraries count)
if(NOT count EQUAL 1)
    message(FATAL_ERROR "expected one MacCapture.plugin/libMacCapture.so under ${prefix}, found: ${libraries}")
endif()
get_filename_component(plugin ${libraries} DIRECTORY)
foreach(script InstallOstrelAudioCapture.pkg UninstallOstrelAudioDrivers.pkg AudioCaptureDriver.sh
               AudioCaptureDriverStatus.sh)
    if(NOT EXISTS ${plugin}/Resources/${script})
        message(FATAL_ERROR "${script} is missing from ${plugin}/Resources")
    endif()
endforeach()
file(REMOVE_RECURSE ${prefix})
