# Writes the process library file into a C++ source so that the program carries its
# own copy: a moved or copied binary still explains processes without any data file.
#
#   cmake -DINPUT=processes.json -DOUTPUT=EmbeddedLibrary.cpp -P EmbedLibrary.cmake
#
# The text goes in as raw string literals of about 8 KB each, cut after a newline so
# that no UTF-8 sequence is split and no literal grows past what compilers accept;
# the loader joins the pieces again.
if(NOT INPUT OR NOT OUTPUT)
  message(FATAL_ERROR "EmbedLibrary.cmake needs -DINPUT=<json file> -DOUTPUT=<cpp file>")
endif()

file(READ "${INPUT}" rest)
set(delimiter "qmlib")
string(FIND "${rest}" ")${delimiter}\"" clash)
if(NOT clash EQUAL -1)
  message(FATAL_ERROR "${INPUT} contains the raw string delimiter )${delimiter}\"")
endif()

set(chunk_size 8000)
set(body "")
set(count 0)
string(LENGTH "${rest}" remaining)
while(remaining GREATER 0)
  set(cut ${remaining})
  if(remaining GREATER chunk_size)
    string(SUBSTRING "${rest}" ${chunk_size} -1 tail)
    string(FIND "${tail}" "\n" newline)
    if(NOT newline EQUAL -1)
      math(EXPR cut "${chunk_size} + ${newline} + 1")
    endif()
  endif()
  string(SUBSTRING "${rest}" 0 ${cut} chunk)
  string(SUBSTRING "${rest}" ${cut} -1 rest)
  string(APPEND body "    R\"${delimiter}(${chunk})${delimiter}\",\n")
  math(EXPR count "${count} + 1")
  math(EXPR remaining "${remaining} - ${cut}")
endwhile()
if(count EQUAL 0)
  set(body "    \"\",\n")
  set(count 1)
endif()

# Written beside the target and renamed, so that an interrupted build never leaves a
# half-written source behind.
file(WRITE "${OUTPUT}.tmp"
     "// Generated from ${INPUT} by EmbedLibrary.cmake; do not edit.\n"
     "#include <cstddef>\n#include <string_view>\n\n"
     "namespace qm::embedded {\n\n"
     "extern const std::string_view libraryChunks[];\n"
     "extern const std::size_t libraryChunkCount;\n\n"
     "const std::string_view libraryChunks[] = {\n${body}};\n"
     "const std::size_t libraryChunkCount = ${count};\n\n"
     "}  // namespace qm::embedded\n")
file(RENAME "${OUTPUT}.tmp" "${OUTPUT}")
