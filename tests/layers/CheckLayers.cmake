# Runs scripts/check-layers.sh on the real tree (it must pass) and on a copy with one
# upward include added (it must fail and name the file).
#   cmake -DSOURCE=<source> -DBUILD=<build> -P CheckLayers.cmake
execute_process(COMMAND bash ${SOURCE}/scripts/check-layers.sh ${SOURCE}/src
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
if(NOT result EQUAL 0)
  message(FATAL_ERROR "the tree has an upward include:\n${out}")
endif()

set(copy "${BUILD}/layers-check")
file(REMOVE_RECURSE "${copy}")
file(MAKE_DIRECTORY "${copy}/core" "${copy}/engine")
file(WRITE "${copy}/engine/Monitor.h" "#pragma once\n#include \"core/Snapshot.h\"\n")
file(WRITE "${copy}/core/Snapshot.h" "#pragma once\n#include <vector>\n  #include \"engine/Monitor.h\"\n")
execute_process(COMMAND bash ${SOURCE}/scripts/check-layers.sh ${copy}
                RESULT_VARIABLE result OUTPUT_VARIABLE out ERROR_VARIABLE out)
file(REMOVE_RECURSE "${copy}")
if(result EQUAL 0 OR NOT out MATCHES "core/Snapshot.h:3 includes engine/")
  message(FATAL_ERROR "an include from core/ into engine/ was not caught:\n${out}")
endif()
