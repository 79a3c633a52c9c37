# Makes generated/SignerNamesConfig.h from config/signer-names.conf. The values stand in the header as plain text; only
# consteval code may touch them, so that no plain text reaches a binary (tslib/verifytrust/SignerNames.cpp).
set(HALVORA_SIGNER_NAMES "${CMAKE_SOURCE_DIR}/config/signer-names.conf" CACHE FILEPATH "The accepted signer names")
set_property(DIRECTORY APPEND PROPERTY CMAKE_CONFIGURE_DEPENDS "${HALVORA_SIGNER_NAMES}")

file(STRINGS "${HALVORA_SIGNER_NAMES}" lines)
set(section "")
set(signers 0)
set(subject "")
set(macro_signers "")
foreach(line IN LISTS lines)
    if(line MATCHES "^(#|$)")
        continue()
    elseif(line STREQUAL "[signer]")
        set(section signer)
        math(EXPR signers "${signers} + 1")
    elseif(line STREQUAL "[subject]")
        set(section subject)
    elseif(line MATCHES "^([^=]+)=([^\"\\\\]+)$" AND section STREQUAL "signer")
        set(signer_${signers}_${CMAKE_MATCH_1} "${CMAKE_MATCH_2}")
    elseif(line MATCHES "^([0-9.]+)=([^\"\\\\]+)$" AND section STREQUAL "subject")
        if(subject)
            string(APPEND subject "\\r\\n")
        endif()
        string(APPEND subject "${CMAKE_MATCH_1}=${CMAKE_MATCH_2}")
    else()
        message(FATAL_ERROR "${HALVORA_SIGNER_NAMES}: cannot read the line: ${line}")
    endif()
endforeach()
if(signers EQUAL 0 OR NOT subject)
    message(FATAL_ERROR "${HALVORA_SIGNER_NAMES}: at least one [signer] and a [subject] are needed")
endif()
foreach(i RANGE 1 ${signers})
    set(row "")
    foreach(key CN OU O L ST C)
        if(NOT signer_${i}_${key})
            message(FATAL_ERROR "${HALVORA_SIGNER_NAMES}: signer ${i} lacks ${key}")
        endif()
        string(APPEND row "X(${key}, u\"${signer_${i}_${key}}\") ")
    endforeach()
    string(APPEND macro_signers "#define HALVORA_SIGNER_${i}(X) ${row}\n")
endforeach()
set(rows "")
foreach(i RANGE 1 ${signers})
    string(APPEND rows " ROW(${i})")
endforeach()
file(CONFIGURE OUTPUT "${CMAKE_BINARY_DIR}/generated/SignerNamesConfig.h" @ONLY CONTENT
"// Made from config/signer-names.conf by cmake/SignerNames.cmake. Do not edit.
#pragma once
#define HALVORA_SIGNER_COUNT @signers@
@macro_signers@// ROW(n) once for each signer n = 1, 2, ...
#define HALVORA_SIGNERS(ROW)@rows@
#define HALVORA_ACCEPTED_SUBJECT u\"@subject@\"
")
