# pwr_fuzz_corpus(NAME FOLDER): fills FOLDER with the seeds of a fuzz target: its own, which nothing else in the
# tree holds, and the streams and results of the samples and of the tests.
function(pwr_fuzz_corpus name folder)
    set(seeds_of_pwr ${CMAKE_SOURCE_DIR}/tests/streams/*/expected/*.pwr)
    set(seeds_of_ztbin ${CMAKE_SOURCE_DIR}/tests/streams/*/expected/*.ztbin)
    set(seeds_of_import ${CMAKE_SOURCE_DIR}/tests/streams/*/expected/*.pwr
        ${CMAKE_SOURCE_DIR}/tests/streams/*/expected/*.ztbin ${CMAKE_SOURCE_DIR}/tests/streams/*/expected/*.ztjson
        ${CMAKE_SOURCE_DIR}/tests/traces/recorded-7-zstd.dat)
    set(seeds_of_stream_reader ${CMAKE_SOURCE_DIR}/samples/*.ndjson ${CMAKE_SOURCE_DIR}/tests/faults/*.ndjson)
    file(GLOB seeds CONFIGURE_DEPENDS ${seeds_of_${name}} ${CMAKE_SOURCE_DIR}/fuzz/corpus/${name}/*)
    foreach(seed ${seeds})
        file(RELATIVE_PATH unique ${CMAKE_SOURCE_DIR} ${seed})
        string(REPLACE "/" "-" unique ${unique})
        configure_file(${seed} ${folder}/${unique} COPYONLY)
    endforeach()
endfunction()
