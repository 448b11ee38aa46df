# Fails unless README holds EXAMPLE, from its first #include on, word for word.
file(READ "${README}" readme)
file(READ "${EXAMPLE}" example)
string(FIND "${example}" "#include" start)
string(SUBSTRING "${example}" ${start} -1 code)
string(FIND "${readme}" "${code}" place)
if(place EQUAL -1)
  message(FATAL_ERROR "${README} does not show the code of ${EXAMPLE}")
endif()
