# Every library that the project uses, all of them from Debian 12 packages (packaging/install-deps lists them).
find_package(PkgConfig REQUIRED)

pkg_check_modules(OPUS REQUIRED IMPORTED_TARGET opus>=1.3)
pkg_check_modules(AVFORMAT REQUIRED IMPORTED_TARGET libavformat libavcodec libavutil libswresample)
pkg_check_modules(AVCODEC REQUIRED IMPORTED_TARGET libavcodec>=59.37 libavutil>=57.28)
pkg_check_modules(OPENH264 REQUIRED IMPORTED_TARGET openh264>=2.3)
pkg_check_modules(SPEEX REQUIRED IMPORTED_TARGET speex>=1.2)
pkg_check_modules(SDL2 REQUIRED IMPORTED_TARGET sdl2>=2.26)
pkg_check_modules(SRTP2 REQUIRED IMPORTED_TARGET libsrtp2>=2.5)
pkg_check_modules(TURBOJPEG REQUIRED IMPORTED_TARGET libturbojpeg>=2.1)
pkg_check_modules(SQLITE3 REQUIRED IMPORTED_TARGET sqlite3>=3.40)
find_package(CLI11 REQUIRED)
find_package(nlohmann_json REQUIRED)

# libgsm ships no pkg-config file and puts its header into a folder of its own.
find_path(GSM_INCLUDE_DIR gsm.h PATH_SUFFIXES gsm REQUIRED)
find_library(GSM_LIBRARY gsm REQUIRED)
add_library(qrn_gsm INTERFACE)
target_include_directories(qrn_gsm SYSTEM INTERFACE "${GSM_INCLUDE_DIR}")
target_link_libraries(qrn_gsm INTERFACE "${GSM_LIBRARY}")

# libyuv ships no pkg-config file.
find_path(YUV_INCLUDE_DIR libyuv.h REQUIRED)
find_library(YUV_LIBRARY yuv REQUIRED)
add_library(qrn_libyuv INTERFACE)
target_include_directories(qrn_libyuv SYSTEM INTERFACE "${YUV_INCLUDE_DIR}")
target_link_libraries(qrn_libyuv INTERFACE "${YUV_LIBRARY}")
