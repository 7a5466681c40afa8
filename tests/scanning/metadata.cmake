# Capture dates: the metadata pipeline against hand-made EXIF files and the real camera files.
kestrava_add_gtest(metadata_tests
  SOURCES
    ${CMAKE_CURRENT_LIST_DIR}/MetadataPipelineTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/MetadataCameraFilesTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/CaptureSubsecondTest.cpp
    ${CMAKE_CURRENT_LIST_DIR}/CaptureOriginTest.cpp
    ${CMAKE_SOURCE_DIR}/tests/preview/TestJpegs.cpp
  LIBS kestrava_scanning kestrava_preview kestrava_shootgen PkgConfig::EXIV2 Qt6::Concurrent
  TIMEOUT 120)
target_include_directories(metadata_tests PRIVATE ${CMAKE_SOURCE_DIR}/tests/preview)
