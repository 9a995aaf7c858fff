// The order of version texts, as update feeds write them.
#pragma once

#include <compare>
#include <string_view>

namespace larkmoor {

/// A version is a sequence of parts: runs of digits and runs of letters. Every other character separates parts and
/// means nothing itself, but for two:
/// - a dash ends the version: what stands behind the first one, such as a commit's name, does not count;
/// - an opening parenthesis begins the build, which is compared in the same way, and only if all before it is equal.
///
/// Parts are compared in turn. Digits are numbers of any length. Where one version has a number and the other has
/// letters or its end, a zero is taken to be missing there. Where one has letters and the other its end, the one with
/// letters is a pre-release and the lower one. Letters are compared byte by byte; a byte that is not ASCII is a letter.
///
///   1.0a1 < 1.0b < 1.0b2 < 1.0 = 1.0.0 < 1.0.1b1 < 1.0.1     1.0 (1234) < 1.0 (1235)     3.3 (5847) < 3.3.1b1 (5902)
///
/// Versions that are `equal` may differ as texts. The order is total: a text without any part is zero.
std::strong_ordering compareVersions(std::string_view left, std::string_view right);

}  // namespace larkmoor
