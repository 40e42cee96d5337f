# Installation: libraries, headers, CMake package and pkg-config file.
