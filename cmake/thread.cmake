# The thread sanitizer, with the Qt that script/build-thread-qt has built for it. With Debian's own it would report races
# that are none.
set(THREAD_QT ${CMAKE_CURRENT_LIST_DIR}/../build/qt-thread)
if(NOT EXISTS ${THREAD_QT}/lib/cmake/Qt5)
  message(FATAL_ERROR "There is no Qt for the thread sanitizer yet: script/build-thread-qt builds it, once")
endif()
set(CMAKE_PREFIX_PATH ${THREAD_QT})

# The sanitizer's memory lies where a system that scatters addresses widely may put the program. Not every container
# lets a program have that changed.
execute_process(COMMAND setarch --addr-no-randomize true RESULT_VARIABLE refused ERROR_QUIET)
if(NOT refused)
  set(CMAKE_CROSSCOMPILING_EMULATOR setarch --addr-no-randomize)
endif()
