# Installation, the CMake package, pkg-config and the Debian package.
