#!/bin/sh
# SPDX-License-Identifier: Apache-2.0
# Adds to a folder of scripts/windows_sysroot.sh the static libraries that the program takes beyond those of the engine: what decodes and writes
# sound, packs arrays, makes checksums and writes XML. From Debian's source packages; nothing is installed.
#
#   scripts/windows_decoders.sh FOLDER TRIPLET    does nothing where they are there
set -eu
folder=$1
triplet=$2
[ -e "$folder/complete-decoders" ] && exit 0
. "$(dirname "$0")/windows_sources.sh"
# Else its header takes the library for a DLL.
export CFLAGS=-DFLAC__NO_DLL

# Its build asks for files for DLLs that Debian has taken out.
fetch zlib
mkdir -p "$folder/build/zlib"
for part in adler32 compress crc32 deflate infback inffast inflate inftrees trees uncompr zutil; do
  "$triplet-gcc-posix" -O2 -w -c "$sources/zlib/$part.c" -o "$folder/build/zlib/$part.o"
done
"$triplet-ar" rcs "$folder/lib/libz.a" "$folder"/build/zlib/*.o
cp "$sources/zlib/zlib.h" "$sources/zlib/zconf.h" "$folder/include/"
licence_of zlib
package_file zlib zlib -lz

cmake_library libogg -DINSTALL_DOCS=OFF
package_file ogg libogg -logg

cmake_library libvorbis
package_file vorbis libvorbis "-lvorbis -logg"
package_file vorbisenc libvorbis "-lvorbisenc -lvorbis -logg"

configured_library opus --disable-doc --disable-extra-programs --disable-stack-protector
package_file opus opus "-lopus -lssp" '-I${pcfiledir}/../../include/opus'

cmake_library flac -DWITH_OGG=ON -DBUILD_CXXLIBS=OFF -DBUILD_PROGRAMS=OFF -DBUILD_EXAMPLES=OFF -DBUILD_TESTING=OFF -DBUILD_DOCS=OFF \
  -DINSTALL_MANPAGES=OFF -DWITH_STACK_PROTECTOR=OFF
package_file flac flac "-lFLAC -logg" -DFLAC__NO_DLL

cmake_library libsndfile -DBUILD_PROGRAMS=OFF -DBUILD_EXAMPLES=OFF -DBUILD_TESTING=OFF -DENABLE_CPACK=OFF -DENABLE_MPEG=OFF
package_file sndfile libsndfile "-lsndfile -lvorbisenc -lvorbis -lFLAC -lopus -logg -lssp"

cmake_below=ports/cmake cmake_library mpg123 -DBUILD_PROGRAMS=OFF -DBUILD_LIBOUT123=OFF -DNETWORK=OFF
package_file libmpg123 mpg123 "-lmpg123 -lshlwapi"

cmake_library pugixml
package_file pugixml pugixml -lpugixml

configured_library nettle --disable-public-key --disable-documentation --disable-openssl
package_file nettle nettle -lnettle

cp /usr/share/doc/libcli11-dev/copyright "$folder/licences/CLI11.txt"
cp /usr/share/doc/nlohmann-json3-dev/copyright "$folder/licences/nlohmann-json.txt"
rm -r "$folder/build"
: >"$folder/complete-decoders"
