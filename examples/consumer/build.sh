# Without a build system: PKG_CONFIG_PATH=PREFIX/lib/pkgconfig sh build.sh
${CXX:-g++} -std=c++20 main.cpp -o consumer $(pkg-config --cflags --libs vorn) \
    -Wl,-rpath,"$(pkg-config --variable=libdir vorn)"
