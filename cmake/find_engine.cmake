# Built against the platform's engine, which is not part of this package.
if(NOT TARGET DirtySeg::tessmar_ai_engine)
  find_library(DirtySegDetector_ENGINE_LIBRARY tessmar_ai_engine REQUIRED
    DOC "The platform's libtessmar_ai_engine.so")
  add_library(DirtySeg::tessmar_ai_engine SHARED IMPORTED)
  set_target_properties(DirtySeg::tessmar_ai_engine PROPERTIES
    IMPORTED_LOCATION "${DirtySegDetector_ENGINE_LIBRARY}")
  target_link_libraries(DirtySeg::tessmar_ai_engine INTERFACE DirtySeg::engine_headers)
endif()
