# SPDX-License-Identifier: LGPL-2.1-or-later
# Makes the demo's two releases from one build, as a publisher would:
#   ROOT/release-INSTALLED_VERSION  the demo as first installed (copied to the install folder by
#                                   scripts/demo.sh before each run)
#   ROOT/release-NEXT_VERSION       the next version: the same program, its version in Info.plist
#   ROOT/versions/APP               the sample version directory with NEXT_BUILD published as a
#                                   signed package (qjkit publish-update)
# Run with cmake -P and -D for every variable used below. The key pair is made once per build tree
# (minisign -G -W: no password) and never leaves it.
foreach(variable ROOT DEMO QJKIT MINISIGN SAMPLE APP INSTALLED_VERSION INSTALLED_BUILD NEXT_VERSION NEXT_BUILD)
  if(NOT DEFINED ${variable})
    message(FATAL_ERROR "release.cmake: ${variable} is not set")
  endif()
endforeach()

function(run)
  execute_process(COMMAND ${ARGN} RESULT_VARIABLE status OUTPUT_VARIABLE output ERROR_VARIABLE output)
  if(NOT status EQUAL 0)
    string(JOIN " " command ${ARGN})
    message(FATAL_ERROR "${command} failed (${status}):\n${output}")
  endif()
endfunction()

set(keys ${ROOT}/keys)
if(NOT EXISTS ${keys}/demo.pub OR NOT EXISTS ${keys}/demo.key)
  file(MAKE_DIRECTORY ${keys})
  run(${MINISIGN} -G -f -W -p ${keys}/demo.pub -s ${keys}/demo.key)
endif()
# The .pub file's second line is the key as a host names it.
file(STRINGS ${keys}/demo.pub key_lines)
list(GET key_lines 1 public_key)

function(make_release folder version build)
  file(REMOVE_RECURSE ${folder})
  file(MAKE_DIRECTORY ${folder}/Resources)
  file(COPY ${DEMO} DESTINATION ${folder} FILE_PERMISSIONS OWNER_READ OWNER_WRITE OWNER_EXECUTE
       GROUP_READ GROUP_EXECUTE WORLD_READ WORLD_EXECUTE)
  if(STRIP)
    get_filename_component(program ${DEMO} NAME)
    run(${STRIP} --strip-debug ${folder}/${program})
  endif()
  file(WRITE ${folder}/Resources/Info.plist [[<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>CFBundleShortVersionString</key>
	<string>]] "${version}" [[</string>
	<key>CFBundleVersion</key>
	<string>]] "${build}" [[</string>
	<key>QJAutoUpdatePublicKey</key>
	<string>]] "${public_key}" [[</string>
</dict>
</plist>
]])
endfunction()

make_release(${ROOT}/release-${INSTALLED_VERSION} ${INSTALLED_VERSION} ${INSTALLED_BUILD})
set(next ${ROOT}/release-${NEXT_VERSION})
make_release(${next} ${NEXT_VERSION} ${NEXT_BUILD})

set(package ${ROOT}/qjkit-demo-${NEXT_VERSION}.tar.gz)
file(GLOB contents RELATIVE ${next} ${next}/*)
execute_process(COMMAND ${CMAKE_COMMAND} -E tar czf ${package} -- ${contents} WORKING_DIRECTORY ${next}
                RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "release.cmake: could not pack ${next}")
endif()
run(${MINISIGN} -S -s ${keys}/demo.key -m ${package} -x ${package}.minisig
    -t "QJKit Demo ${NEXT_VERSION}")

# The sample directory's other records stay; the next version's description is taken from its
# sample record, the rest comes from publishing the package.
set(versions ${ROOT}/versions/${APP})
file(REMOVE_RECURSE ${versions})
file(MAKE_DIRECTORY ${versions})
file(GLOB records ${SAMPLE}/*.plist)
file(COPY ${records} DESTINATION ${versions})
execute_process(COMMAND ${QJKIT} plist get en ${SAMPLE}/${NEXT_BUILD}.plist
                OUTPUT_VARIABLE description RESULT_VARIABLE status)
if(NOT status EQUAL 0)
  message(FATAL_ERROR "release.cmake: ${SAMPLE}/${NEXT_BUILD}.plist has no English description")
endif()
string(REGEX REPLACE "\n$" "" description "${description}")
run(${QJKIT} publish-update --dir ${versions} --key ${NEXT_BUILD} --version ${NEXT_VERSION}
    "--description" "${description}" --signature ${package}.minisig --public-key ${keys}/demo.pub ${package})
