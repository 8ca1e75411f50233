# The libraries zel builds on. All come from the distribution's packages; the
# Makefile installs them when they are missing.
find_package(Boost 1.74 REQUIRED)
find_package(ZLIB REQUIRED)

find_path(ZEL_RAPIDXML_INCLUDE_DIR rapidxml/rapidxml.hpp REQUIRED)
find_path(ZEL_SPARSEHASH_INCLUDE_DIR google/dense_hash_map REQUIRED)
find_path(ZEL_MD5_INCLUDE_DIR md5.h REQUIRED)
find_library(ZEL_MD5_LIBRARY md REQUIRED)
