# One place for what every target is compiled with; linked privately by all of them.
add_library(orvenlink-options INTERFACE)

target_compile_definitions(orvenlink-options INTERFACE
  QT_NO_CAST_FROM_ASCII
  QT_NO_CAST_TO_ASCII
  QT_NO_FOREACH
  QT_DISABLE_DEPRECATED_BEFORE=0x050F00
)

if(MSVC)
  target_compile_options(orvenlink-options INTERFACE /W4 /WX /utf-8 /fp:precise)
else()
  target_compile_options(orvenlink-options INTERFACE
    -Wall -Wextra -Wpedantic -Wshadow -Wnon-virtual-dtor -Woverloaded-virtual -Wconversion -Werror
    # The same input gives the same bits on every build: no fused multiply-add that nobody asked for.
    -ffp-contract=off
  )
endif()

if(ORVENLINK_SANITIZE)
  target_compile_options(orvenlink-options INTERFACE
    -O1 -g1 -fno-omit-frame-pointer -fsanitize=${ORVENLINK_SANITIZE} -fno-sanitize-recover=all)
  target_link_options(orvenlink-options INTERFACE -fsanitize=${ORVENLINK_SANITIZE})
  # Q_ASSERT vanishes outside debug builds; here it is wanted.
  target_compile_definitions(orvenlink-options INTERFACE QT_FORCE_ASSERTS)
endif()

if(ORVENLINK_FUZZER)
  # Coverage, by which libFuzzer finds its way; the targets themselves link its main.
  target_compile_options(orvenlink-options INTERFACE -fsanitize=fuzzer-no-link)
  target_link_options(orvenlink-options INTERFACE -fsanitize=fuzzer-no-link)
endif()
