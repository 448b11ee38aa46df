# Built against the platform's engine, which is not part of this package.
if(NOT TARGET DirtySeg::tessmar_ai_engine)
  find_library(DirtySegDetector_ENGINE_LIBRARY tessmar_ai_engine
    DOC "The platform's libtessmar_ai_engine.so")
  if(NOT DirtySegDetector_ENGINE_LIBRARY)
    set(DirtySegDetector_FOUND FALSE)
    string(CONCAT DirtySegDetector_NOT_FOUND_MESSAGE
      "the platform's libtessmar_ai_engine.so is in no folder that is searched; set "
      "DirtySegDetector_ENGINE_LIBRARY to its path.")
    return()
  endif()
  add_library(DirtySeg::tessmar_ai_engine SHARED IMPORTED)
  # Linked by name, as the detector is.
  set_target_properties(DirtySeg::tessmar_ai_engine PROPERTIES
    IMPORTED_NO_SONAME TRUE
    IMPORTED_LOCATION "${DirtySegDetector_ENGINE_LIBRARY}")
  target_link_libraries(DirtySeg::tessmar_ai_engine INTERFACE DirtySeg::engine_headers)
endif()
