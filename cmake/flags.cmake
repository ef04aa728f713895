# Flags for everything (tolva_flags) and for the product's own code (tolva_product_flags).

add_library(tolva_flags INTERFACE)
add_library(tolva_product_flags INTERFACE)

# A fused multiply-add rounds once where two operations round twice: some picture sizes would come out different.
target_compile_options(tolva_flags INTERFACE -ffp-contract=off)
# Positions in files are 64-bit on every build.
target_compile_definitions(tolva_flags INTERFACE _FILE_OFFSET_BITS=64)

# x87 carries excess precision into truncated products; SSE2 does not.
if(CMAKE_SYSTEM_PROCESSOR MATCHES "^i[3-6]86$")
  target_compile_options(tolva_flags INTERFACE -msse2 -mfpmath=sse)
endif()

target_compile_options(tolva_flags INTERFACE -Wall -Wextra)
target_compile_options(tolva_product_flags INTERFACE
  -Wpedantic -Wshadow -Wconversion
  $<$<COMPILE_LANGUAGE:CXX>:-fno-exceptions -fno-rtti>
  -fvisibility=hidden)
if(CMAKE_CXX_COMPILER_ID STREQUAL "GNU")
  # Support for an opcode is told by its handler's address, so empty handlers must keep addresses of their own.
  target_compile_options(tolva_product_flags INTERFACE -fno-ipa-icf -fno-semantic-interposition)
endif()
if(CMAKE_CXX_COMPILER_ID MATCHES "Clang")
  # Where | joins bools it is meant: inner loops want no branch.
  target_compile_options(tolva_product_flags INTERFACE -Wno-bitwise-instead-of-logical)
endif()
if(TOLVA_WARNINGS_FATAL)
  target_compile_options(tolva_flags INTERFACE -Werror)
endif()

# For everything, the test framework included: containers that cross an uninstrumented border report false overflows.
if(TOLVA_SANITIZE)
  add_compile_options(-fsanitize=address,undefined -fno-sanitize-recover=undefined -fno-omit-frame-pointer)
  add_link_options(-fsanitize=address,undefined)
endif()
# Counts for libFuzzer which edges are reached; its main stands in the targets alone.
if(TOLVA_FUZZ)
  add_compile_options(-fsanitize=fuzzer-no-link)
endif()
