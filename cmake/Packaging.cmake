# Debian packages, one a component of Install.cmake, made by `cpack`; scripts/package.sh does the
# whole. The engine has a package of its own, so that a platform's package of the same name, or one
# that provides it, takes its place and spares the robot ONNX Runtime.
set(CPACK_GENERATOR DEB)
set(CPACK_PACKAGE_NAME dirty-seg-detector)
set(CPACK_PACKAGE_VERSION "${PROJECT_VERSION}")
set(CPACK_PACKAGE_DESCRIPTION_SUMMARY "")  # each package has a first line of its own
set(CPACK_DEBIAN_PACKAGE_RELEASE 1)
set(CPACK_DEBIAN_PACKAGE_MAINTAINER
  "The Dirty Seg Detector authors <dirty-seg-detector@nuvik.invalid>")
set(CPACK_OUTPUT_FILE_PREFIX "${PROJECT_SOURCE_DIR}/out/packages")
set(CPACK_PACKAGING_INSTALL_PREFIX /usr)
set(CPACK_STRIP_FILES ON)
set(CPACK_DEBIAN_FILE_NAME DEB-DEFAULT)
set(CPACK_DEB_COMPONENT_INSTALL ON)
set(CPACK_COMPONENTS_ALL detector engine development tools)
if(CMAKE_SYSTEM_PROCESSOR STREQUAL "aarch64")
  set(CPACK_DEBIAN_PACKAGE_ARCHITECTURE arm64)
endif()

# What the libraries need is read from them. Those in the private folders are carried along.
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS ON)
set(CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${CMAKE_LIBRARY_OUTPUT_DIRECTORY}")
if(ONNXRuntime_FROM_THIRD_PARTY)
  get_filename_component(onnxruntime_dir "${ONNXRuntime_LIBRARY}" DIRECTORY)
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS "${onnxruntime_dir}")
endif()
if(CMAKE_SYSROOT)  # in which /lib is not a link to /usr/lib
  list(APPEND CPACK_DEBIAN_PACKAGE_SHLIBDEPS_PRIVATE_DIRS
    "${CMAKE_SYSROOT}/usr/lib/${CMAKE_LIBRARY_ARCHITECTURE}"
    "${CMAKE_SYSROOT}/lib/${CMAKE_LIBRARY_ARCHITECTURE}")
endif()
set(version "${PROJECT_VERSION}-${CPACK_DEBIAN_PACKAGE_RELEASE}")

set(CPACK_DEBIAN_DETECTOR_PACKAGE_NAME "libdirty-seg-detector${PROJECT_VERSION_MAJOR}")
set(CPACK_DEBIAN_DETECTOR_PACKAGE_SECTION libs)
set(CPACK_DEBIAN_DETECTOR_PACKAGE_DEPENDS "libtessmar-ai-engine")
set(CPACK_COMPONENT_DETECTOR_DESCRIPTION "library that finds dirty regions in a camera's view
Cuts configured patches out of each 1920 x 1080 frame, runs a YOLOv8
segmentation network on them, has a second network look again at candidates,
and gives boxes, scores, labels and masks in the frame's coordinates.")

set(CPACK_DEBIAN_ENGINE_PACKAGE_NAME libtessmar-ai-engine)
set(CPACK_DEBIAN_ENGINE_PACKAGE_SECTION libs)
set(CPACK_COMPONENT_ENGINE_DESCRIPTION "inference engine of the dirty-region detector
Runs ONNX networks on the processor and decodes the outputs of YOLOv8
segmentation networks. On a robot whose platform brings its own engine, that
one takes the place of this package.")

set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_NAME libdirty-seg-detector-dev)
set(CPACK_DEBIAN_DEVELOPMENT_PACKAGE_SECTION libdevel)
string(CONCAT CPACK_DEBIAN_DEVELOPMENT_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_DETECTOR_PACKAGE_NAME} (= ${version}), libtessmar-ai-engine, libopencv-dev")
set(CPACK_COMPONENT_DEVELOPMENT_DESCRIPTION "development files of the dirty-region detector
Headers, CMake package and pkg-config files of the detector and its engine,
and a small host to start from in /usr/share/dirty_seg/examples.")

set(CPACK_DEBIAN_TOOLS_PACKAGE_NAME dirty-seg-tools)
set(CPACK_DEBIAN_TOOLS_PACKAGE_SECTION utils)
# The program reads ONNX files with this very engine.
string(CONCAT CPACK_DEBIAN_TOOLS_PACKAGE_DEPENDS
  "${CPACK_DEBIAN_DETECTOR_PACKAGE_NAME} (= ${version}), libtessmar-ai-engine (= ${version})")
set(CPACK_COMPONENT_TOOLS_DESCRIPTION "program that finds dirty regions in pictures
dirty_seg runs the detector on pictures and writes what it found as JSON
lines, masks and overlays. With a sample configuration, schemas and a demo in
/usr/share/dirty_seg.")

# Control files: the loader's cache is renewed, and others learn which package a SONAME means.
# None for the private library, and none for the engine's name, which has no version.
set(debian_dir "${PROJECT_SOURCE_DIR}/packaging/debian")
configure_file("${debian_dir}/shlibs.in" "${PROJECT_BINARY_DIR}/debian/shlibs" @ONLY)
set(CPACK_DEBIAN_DETECTOR_PACKAGE_CONTROL_EXTRA
  "${debian_dir}/triggers" "${PROJECT_BINARY_DIR}/debian/shlibs")
set(CPACK_DEBIAN_ENGINE_PACKAGE_CONTROL_EXTRA "${debian_dir}/triggers")

# Debian's own documents, only for the packages.
file(STRINGS "${debian_dir}/changelog" changelog_head LIMIT_COUNT 1)
string(FIND "${changelog_head}" "(${version})" version_place)
if(version_place EQUAL -1)
  message(FATAL_ERROR "${debian_dir}/changelog begins with '${changelog_head}', which is not about "
    "the version that is being packaged, ${version}")
endif()
gzip_file("${debian_dir}/changelog" changelog.Debian.gz)
foreach(component ${CPACK_COMPONENTS_ALL})
  string(TOUPPER ${component} COMPONENT)
  set(package "${CPACK_DEBIAN_${COMPONENT}_PACKAGE_NAME}")
  install(FILES "${debian_dir}/copyright" "${PROJECT_BINARY_DIR}/changelog.Debian.gz"
    DESTINATION "${CMAKE_INSTALL_DATADIR}/doc/${package}" COMPONENT ${component} EXCLUDE_FROM_ALL)
  if(EXISTS "${debian_dir}/${package}.lintian-overrides")
    install(FILES "${debian_dir}/${package}.lintian-overrides" RENAME "${package}"
      DESTINATION "${CMAKE_INSTALL_DATADIR}/lintian/overrides"
      COMPONENT ${component} EXCLUDE_FROM_ALL)
  endif()
endforeach()

include(CPack)
