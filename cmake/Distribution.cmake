# Assembles the program's folder as users receive it, and optionally a zip.
#
#   cmake -DPROGRAM=Vantirel.exe -DSOURCE=<source dir> -DOUTPUT=<dir> -DFOLDER=VANTIREL
#         [-DSTRIP=<strip tool>] [-DCOMPANION_PROGRAM=<exe> -DCOMPANION_FOLDER=VANTIREL64
#         -DCOMPANION_STRIP=<its strip tool>]
#         [-DZIP=VANTIREL30.ZIP] -P cmake/Distribution.cmake
#
# Each folder holds exactly the files the uninstall removes: VANTIREL.EXE,
# README.TXT and FILE_ID.DIZ (with DOS line ends), the sample VANTIREL.JPG,
# and the help file VANTIREL.HLP when distribution/ has one. A companion
# program (the other processor's build) gets a folder of its own beside the
# first; the zip holds every folder made.
cmake_minimum_required(VERSION 3.20)

foreach(required PROGRAM SOURCE OUTPUT FOLDER)
  if(NOT DEFINED ${required})
    message(FATAL_ERROR "Distribution.cmake needs -D${required}=...")
  endif()
endforeach()

# Debugging information is left out of the programs users get.
function(assemble program folder strip)
  if(NOT EXISTS "${program}")
    message(FATAL_ERROR "No program at ${program}")
  endif()
  set(target "${OUTPUT}/${folder}")
  file(REMOVE_RECURSE "${target}")
  file(MAKE_DIRECTORY "${target}")
  file(COPY_FILE "${program}" "${target}/VANTIREL.EXE")
  if(strip)
    execute_process(COMMAND "${strip}" "${target}/VANTIREL.EXE" RESULT_VARIABLE stripped)
    if(NOT stripped EQUAL 0)
      message(FATAL_ERROR "${strip} failed on ${target}/VANTIREL.EXE")
    endif()
  endif()
  foreach(text README.TXT FILE_ID.DIZ)
    file(READ "${SOURCE}/distribution/${text}" content)
    string(REPLACE "\r\n" "\n" content "${content}")
    string(REPLACE "\n" "\r\n" content "${content}")
    file(WRITE "${target}/${text}" "${content}")
  endforeach()
  file(COPY_FILE "${SOURCE}/samples/VANTIREL.JPG" "${target}/VANTIREL.JPG")
  if(EXISTS "${SOURCE}/distribution/VANTIREL.HLP")
    file(COPY_FILE "${SOURCE}/distribution/VANTIREL.HLP" "${target}/VANTIREL.HLP")
  endif()
endfunction()

set(folders ${FOLDER})
assemble("${PROGRAM}" "${FOLDER}" "${STRIP}")
if(COMPANION_PROGRAM)
  if(NOT COMPANION_FOLDER)
    message(FATAL_ERROR "A companion program needs -DCOMPANION_FOLDER=...")
  endif()
  assemble("${COMPANION_PROGRAM}" "${COMPANION_FOLDER}" "${COMPANION_STRIP}")
  list(APPEND folders ${COMPANION_FOLDER})
endif()

if(ZIP)
  file(REMOVE "${OUTPUT}/${ZIP}")
  execute_process(COMMAND ${CMAKE_COMMAND} -E tar cf "${ZIP}" --format=zip ${folders}
                  WORKING_DIRECTORY "${OUTPUT}" RESULT_VARIABLE zipped)
  if(NOT zipped EQUAL 0)
    message(FATAL_ERROR "Could not write ${OUTPUT}/${ZIP}")
  endif()
  message(STATUS "Distribution: ${OUTPUT}/${ZIP}")
endif()
