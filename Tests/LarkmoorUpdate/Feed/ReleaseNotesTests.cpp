#include "LarkmoorUpdate/Feed/ReleaseNotes.h"

#include "LarkmoorBase/UTF8.h"

namespace larkmoor {
namespace {

TEST(ReleaseNotes, AreTextWithItsParagraphsAndLists) {
    struct Case {
        std::string_view notes, html, plain;
    };
    const std::vector<Case> cases{
        {"", "", ""},
        {"one  two\n\n\n\nthree \n", "one two three", "one two\n\nthree"},
        {"<h2>New</h2><ul>\n<li>a</li>\n<LI class=x>b<br/>c</li></ul><p>end", "New\n\n• a\n• b\nc\n\nend",
         "<h2>New</h2><ul>\n<li>a</li>\n<LI class=x>b<br/>c</li></ul><p>end"},
        {"a<style>p{x}</style><script>if(1<2)</SCRIPT>b", "a", "a<style>p{x}</style><script>if(1<2)</SCRIPT>b"},
        {"a<style>p{x}</style>b<!-- <p> -->c<!DOCTYPE x>d<?x?>e", "abcde",
         "a<style>p{x}</style>b<!-- <p> -->c<!DOCTYPE x>d<?x?>e"},
        {"1 < 2 &lt;b&gt; &amp;lt; &#8230;&#x41; &#xD800; &no; & &#1114112;",
         "1 < 2 <b> &lt; …A &#xD800; &no; & &#1114112;",
         "1 < 2 &lt;b&gt; &amp;lt; &#8230;&#x41; &#xD800; &no; & &#1114112;"},
        {"a\x01\x7f\xc2\x85\u202E\ufeff\xff\xe2\x80 b<unended", "a b", "a b<unended"},
    };
    for (const Case& each : cases) {
        EXPECT_EQ(ReleaseNotes::plainText(each.notes, true), each.html);
        EXPECT_EQ(ReleaseNotes::plainText(each.notes, false), each.plain);
    }
    for (std::size_t shift = 0; shift < 4; ++shift) {
        std::string letters(shift, 'x');
        while (letters.size() < 1'000'000) letters += "€&<a";
        const std::string text = ReleaseNotes::plainText(letters, false);
        EXPECT_LE(text.size(), ReleaseNotes::mostBytes + 3);
        EXPECT_TRUE(text.ends_with("…") && UTF8::isValid(text));
    }
}

}  // namespace
}  // namespace larkmoor
