// Of any bytes the notes are well-formed text without control characters, of a bounded length and without white space
// at their ends; of text that has no markup both readings agree but for the line feeds.
#include <algorithm>

#include "LarkmoorBase/Bytes.h"
#include "LarkmoorBase/UTF8.h"
#include "LarkmoorUpdate/Feed/ReleaseNotes.h"
#include "Require.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace larkmoor;
    using fuzz::require;
    const std::string notes{asText(std::as_bytes(std::span{data, size}))};
    std::string readings[2];
    for (const bool isHTML : {false, true}) {
        std::string& text = readings[isHTML ? 1 : 0];
        text = ReleaseNotes::plainText(notes, isHTML);
        require(UTF8::isValid(text), "the text is well-formed");
        require(text.size() <= ReleaseNotes::mostBytes + 3, "the text is not too long");
        require(std::ranges::none_of(text, [](unsigned char one) { return (one < ' ' && one != '\n') || one == 0x7F; }),
                "no control character is left");
        require(
            text.empty() || (text.front() != ' ' && text.front() != '\n' && text.back() != ' ' && text.back() != '\n'),
            "no white space is left at the ends");
        require(text.find("  ") == text.npos && text.find("\n\n\n") == text.npos, "white space is collapsed");
    }
    if (notes.find_first_of("<&\n\r") == notes.npos) require(readings[0] == readings[1], "plain text is its own HTML");
    return 0;
}
