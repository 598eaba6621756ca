# Writes the licences of everything in the zip for Windows into ${folder}: the copyright file of each package, the licences that
# these files refer to, and a table of contents.
set(contents
  "libgcc_s_seh-1.dll, libstdc++-6.dll|gcc-mingw-w64-x86-64-posix-runtime"
  "libwinpthread-1.dll|mingw-w64-x86-64-dev"
  "libOpenThreads.dll, libosg.dll, libosgDB.dll, libosgGA.dll, libosgManipulator.dll, libosgText.dll, libosgUtil.dll, \
libosgViewer.dll, osgPlugins-*|libopenscenegraph-dev"
  "FreeType, in the plugin freetype|libfreetype6"
  "libpng, in the plugin png|libpng16-16"
  "zlib, in the plugin png and in the programs|libz-mingw-w64-dev"
  "liblaszip3.dll|liblaszip-dev"
  "plog, in libquor_osg_utils.dll|libplog-dev"
  "CLI11, in the programs|libcli11-dev"
  "nlohmann-json, in the programs|nlohmann-json3-dev")

# copy_common(PACKAGE): copies the licences of /usr/share/common-licenses that the package's file names.
function(copy_common package)
  file(READ ${folder}/${package}.txt text)
  string(REGEX MATCHALL "/usr/share/common-licenses/[A-Za-z0-9.-]*[A-Za-z0-9]" names "${text}")
  foreach(name IN LISTS names)
    get_filename_component(licence ${name} NAME)
    configure_file(${name} ${folder}/${licence}.txt COPYONLY)
  endforeach()
endfunction()

set(table "Licences of the parts of this archive that come from others\n\n")
foreach(row IN LISTS contents)
  string(REGEX MATCH "^([^|]*)\\|(.*)$" matched "${row}")
  set(parts ${CMAKE_MATCH_1})
  set(package ${CMAKE_MATCH_2})
  set(source /usr/share/doc/${package}/copyright)
  if(NOT EXISTS ${source})
    message(FATAL_ERROR "the licence of ${parts} is missing: no file ${source}")
  endif()
  configure_file(${source} ${folder}/${package}.txt COPYONLY)
  copy_common(${package})
  string(APPEND table "${parts}:\n    ${package}.txt\n")
endforeach()
string(APPEND table "the bundled scan, share/quor_osg_utils/haystack_rock.las:\n    ../share/quor_osg_utils/haystack_rock.LICENSE\n\n"
  "Some of these files refer to texts in /usr/share/common-licenses; these are in this folder, with the extension .txt.\n"
  "quor_osg_utils itself comes without a statement of licence.\n")
file(WRITE ${folder}/CONTENTS.txt "${table}")
