# Makes opencv_core and opencv_imgproc, which find_package(OpenCV) gave as shared libraries, the
# static ones beside them: for a module that carries what it needs and whose OpenCV meets no other
# one in its process.
find_package(TBB REQUIRED)
find_package(ZLIB REQUIRED)

set(core_needs TBB::tbb ZLIB::ZLIB ${CMAKE_DL_LIBS})
set(imgproc_needs opencv_core)
foreach(module core imgproc)
  get_target_property(configuration opencv_${module} IMPORTED_CONFIGURATIONS)
  get_target_property(shared opencv_${module} IMPORTED_LOCATION_${configuration})
  get_filename_component(folder "${shared}" DIRECTORY)
  set(static "${folder}/libopencv_${module}.a")
  if(NOT EXISTS "${static}")
    message(FATAL_ERROR "DIRTY_SEG_STATIC_OPENCV: '${static}' does not exist; expected OpenCV's "
      "static libraries beside its shared ones, as Debian's libopencv-${module}-dev has them")
  endif()
  set_target_properties(opencv_${module} PROPERTIES
    IMPORTED_LOCATION_${configuration} "${static}"
    IMPORTED_NO_SONAME_${configuration} TRUE
    INTERFACE_LINK_LIBRARIES "${${module}_needs}")
endforeach()
