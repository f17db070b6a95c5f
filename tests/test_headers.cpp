// Has nothing to compile but the headers that the tests share; see CMakeLists.txt.
