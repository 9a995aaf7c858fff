// One of a harness's files as a verb read it. Bytes are held for the length of one verb.
#pragma once

#include <optional>
#include <string>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/Files.h"

namespace larkmoor {

struct HarnessFile {
    std::string label;                 ///< the path as the user knows it
    std::string path;                  ///< where it really lies, see ConfigPath
    std::optional<Bytes> bytes{};      ///< nothing if the file is not there or cannot be read
    std::optional<FileError> fault{};  ///< why what is there could not be read

    /// Links are followed.
    static HarnessFile read(const std::string& label);

    /// The bytes as they are, or what a file begins from that is to be made.
    BytesView bytesOr(std::string_view seed) const { return bytes ? BytesView{*bytes} : asBytes(seed); }
};

}  // namespace larkmoor
