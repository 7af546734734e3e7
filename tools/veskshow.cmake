add_executable(veskshow
  veskshow.cpp
  veskshow_files.cpp
  veskshow_print.cpp
  veskshow_text.cpp
)
target_link_libraries(veskshow PRIVATE vesk_reader)
target_compile_definitions(veskshow PRIVATE VESK_VERSION_TEXT="${PROJECT_VERSION}")
