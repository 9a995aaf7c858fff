#include "LarkmoorUpdate/Feed/Appcast.h"

#include "LarkmoorUpdate/Feed/WebAddress.h"

namespace larkmoor {

namespace {

struct Case {
    std::string given, wanted;
};

constexpr std::string_view base = "https://example.org/updates/feed.xml";

std::string rss(std::string_view items) {
    return fmt::format(R"(<?xml version="1.0" encoding="utf-8"?><rss version="2.0"
        xmlns:s="http://www.andymatuschak.org/xml-namespaces/sparkle" xmlns:o="http://example.org/other">
        <channel><title>Larkmoor</title>{}</channel></rss>)",
                       items);
}

/// What build 2 on system 12 is offered: "VERSION ARCHIVE" with marks, "none", or the error.
std::string offered(std::string_view feed, const std::vector<std::string>& languages = {}) {
    const auto appcast = readAppcast(asBytes(feed), base);
    if (!appcast) return appcast.error();
    const auto item = pick(*appcast, {.build = "2", .systemVersion = "12", .languages = languages});
    if (!item) return "none";
    std::string text = item->displayVersionString + " " + item->url.value_or("news of " + item->infoURL.value_or("-"));
    if (item->length) text += fmt::format(" of {}", *item->length);
    if (item->signature) text += " by " + *item->signature;
    if (item->notesURL) text += " notes " + *item->notesURL;
    if (!item->notes.empty()) text += (item->notesArePlainText ? " text " : " HTML ") + item->notes;
    if (item->historyURL) text += " history " + *item->historyURL;
    return text + (item->isOfferOnly ? " offerOnly" : "") + (item->isCritical ? " critical" : "");
}

TEST(Appcast, OffersTheGreatestItemThatIsForUs) {
    const Case cases[] = {
        {"", "none"},
        {"<item><s:version>2.0</s:version></item>", "none"},
        {"<item><s:version>10</s:version></item><item><s:version>3</s:version></item>", "10 news of -"},
        {R"(<item><enclosure url="b" length="7" s:edSignature="c2ln" s:version="3" s:shortVersionString="3.0"/></item>)",
         "3.0 https://example.org/updates/b of 7 by c2ln"},
        {R"(<item><enclosure url="http://a/b" length="0" s:version="9"/><s:version>3</s:version></item>)",
         "3 http://a/b"},
        {R"(<item><s:version>3</s:version></item><item><s:version>3</s:version><enclosure url="http://a/b"/></item>)",
         "3 http://a/b"},
        // References to characters that are no text, or begin another line.
        {"<item><s:version>3&#xD800;</s:version></item><item><s:version>4&#10;</s:version></item>", "4 news of -"},
        {"<item><s:version>3</s:version><s:shortVersionString>3&#10;4</s:shortVersionString></item>"
         "<item><s:version>4</s:version><s:shortVersionString>4&#x202E;</s:shortVersionString></item>",
         "none"},
        // No other namespace, prefix or case counts, and no attribute without a prefix.
        {"<item><version>3</version><o:version>3</o:version><s:Version>3</s:Version></item>", "none"},
        {R"(<item><enclosure url="a" version="3"/></item>)", "none"},
        {R"(<item xmlns:s="http://example.org/other"><s:version>3</s:version></item>)", "none"},
        {R"(<item xmlns:o="http://www.andymatuschak.org/xml-namespaces/sparkle"><o:version>3</o:version></item>)",
         "3 news of -"},
        {R"(<item><version xmlns="http://www.andymatuschak.org/xml-namespaces/sparkle">3</version></item>)",
         "3 news of -"},
        {R"(<item xmlns="http://example.org/other"><s:version>3</s:version></item>)", "none"},
        // Of two equal items the one that names our system.
        {R"(<item><enclosure url="http://a/m" s:version="3"/><enclosure url="http://a/l" s:version="3" s:os="linux"/>
            <enclosure url="http://a/n" s:version="3"/><enclosure url="http://a/w" s:version="4" s:os="windows"/></item>)",
         "3 http://a/l"},
    };
    for (const auto& [items, wanted] : cases) EXPECT_EQ(offered(rss(items)), wanted) << items;
}

TEST(Appcast, TakesAnItemForWhatItSays) {
    const std::string tooLong = "<s:maximumSystemVersion>99" + std::string(2000, '9') + "</s:maximumSystemVersion>";
    const Case cases[] = {
        {"<s:shortVersionString>T<!-- -->h<![CDATA[r]]>ee</s:shortVersionString>", "Three http://a/b"},
        {"<s:channel>beta</s:channel>", "none"},
        {"<s:channel> </s:channel>", "3 http://a/b"},
        {tooLong, "none"},
        {"<s:minimumSystemVersion>12.0</s:minimumSystemVersion>", "3 http://a/b"},
        {"<s:minimumSystemVersion>12.1</s:minimumSystemVersion>", "none"},
        {"<s:maximumSystemVersion>12.0</s:maximumSystemVersion>", "3 http://a/b"},
        {"<s:maximumSystemVersion>11.9</s:maximumSystemVersion>", "none"},
        {"<s:informationalUpdate/><o:link>http://o</o:link><x:link>http://x</x:link><link>/page</link>",
         "3 news of https://example.org/page"},
        {"<s:informationalUpdate/><link>javascript:alert(1)</link>", "3 news of -"},
        {"<s:informationalUpdate><s:version>2.0</s:version></s:informationalUpdate>", "3 news of -"},
        {"<s:informationalUpdate><s:belowVersion>2.1</s:belowVersion></s:informationalUpdate>", "3 news of -"},
        {"<s:informationalUpdate><s:version>1</s:version><s:belowVersion>2</s:belowVersion></s:informationalUpdate>",
         "3 http://a/b"},
        {R"(<criticalUpdate xmlns="http://www.andymatuschak.org/xml-namespaces/sparkle" version="1"/>)",
         "3 http://a/b critical"},
        {R"(<s:tags><s:criticalUpdate s:version="2.1"/></s:tags>)", "3 http://a/b critical"},
        {R"(<s:criticalUpdate s:version="2"/>)", "3 http://a/b"},
        {"<s:minimumAutoupdateVersion>2.1</s:minimumAutoupdateVersion>", "3 http://a/b offerOnly"},
        {"<s:minimumAutoupdateVersion>2</s:minimumAutoupdateVersion>", "3 http://a/b"},
        {"<description>&lt;b></description><s:releaseNotesLink>n</s:releaseNotesLink>", "3 http://a/b HTML <b>"},
        {R"(<description s:format="plain-text">a &amp; b</description>)", "3 http://a/b text a & b"},
        {"<description> </description><s:releaseNotesLink>http://n</s:releaseNotesLink>",
         "3 http://a/b notes http://n"},
        {"<s:fullReleaseNotesLink>http://h/</s:fullReleaseNotesLink>", "3 http://a/b history http://h/"},
    };
    const auto item = [](std::string_view text, std::string_view enclosure) {
        return rss(fmt::format("<item><s:version>3</s:version>{}{}</item>", text, enclosure));
    };
    for (const auto& [text, wanted] : cases) {
        EXPECT_EQ(offered(item(text, R"(<enclosure url="http://a/b"/>)")), wanted) << text;
    }
    for (const std::string_view unusable :
         {R"(<enclosure url="d" s:deltaFrom="2"/>)", R"(<enclosure url="d" s:deltaFrom=""/>)",
          R"(<enclosure length="5"/>)", "<s:deltas><enclosure/></s:deltas>", R"(<enclosure url="a" s:os="mac"/>)"}) {
        EXPECT_EQ(offered(item("", unusable)), "none") << unusable;
    }
}

TEST(Appcast, HasNotesInThePersonsLanguage) {
    const std::string feed = rss(R"(<item><s:version>3</s:version><s:releaseNotesLink>http://n/</s:releaseNotesLink>
        <s:releaseNotesLink xml:lang="de">ftp://n/de</s:releaseNotesLink>
        <s:releaseNotesLink xml:lang="pt-PT">http://n/pt</s:releaseNotesLink>
        <s:releaseNotesLink xml:lang="pt-BR">http://n/br</s:releaseNotesLink>
        <s:releaseNotesLink xml:lang="fr">http://n/fr</s:releaseNotesLink>
        <s:releaseNotesLink xml:lang="en">http://n/en</s:releaseNotesLink></item>)");
    struct Languages {
        std::string list, locale, wanted;
    };
    const Languages cases[] = {
        {"", "", "en"},      {"", "pt_BR.UTF-8", "br"}, {"", "pt", "pt"},      {"pt_AO:fr", "de_DE", "pt"},
        {"de:fr", "", "fr"}, {":fr_CA", "pt_BR", "fr"}, {"", "C.UTF-8", "en"}, {"it", "fr", "en"}};
    for (const auto& [list, locale, wanted] : cases) {
        EXPECT_EQ(offered(feed, preferredLanguages(list, locale)), "3 news of - notes http://n/" + wanted)
            << list << locale;
    }
}

TEST(Appcast, RefusesWhatIsNoWholeFeedInWords) {
    const std::string whole = rss(R"(<item><s:version>3</s:version><enclosure url="a"/></item>)");
    const Case cases[] = {
        {" \n", "the feed is empty"},
        {"<!DOCTYPE HTML><p>Sign in", "there is a web page in place of the feed, such as that of a login"},
        {"{\"error\": 404}", "the feed is not a whole XML document: no document element found at byte 13"},
        {"<feed/>", "this is no update feed: its outermost element is <feed>, not <rss>"},
        {"<rss/>", "this is no update feed: it has no channel"},
        {whole + whole.substr(whole.find("<rss")), "there is more than one document in the feed"},
        {"<?xml version='1.0' encoding='ISO-8859-1'?><rss><channel/></rss>", "the feed is in iso-8859-1, not in UTF-8"},
        {"<rss><channel>\xE9</channel></rss>", "the feed is not text in UTF-8"},
        {std::string{"<\0r\0s\0s\0/\0>\0", 12}, "the feed is not text in UTF-8"},
        {R"(<!DOCTYPE rss [<!ENTITY a "&b;&b;">]><rss><channel>&a;</channel></rss>)",
         "the feed declares entities of its own"},
        {rss(R"(<item/><item><enclosure url="file:///etc/passwd"/></item>)"),
         "the feed has an archive at an address that is not http or https: file:///etc/passwd"},
        {std::string(maxAppcastBytes + 1, ' '), "the feed is larger than 16 MiB"},
        {rss(std::string(600'000, '<')), "the feed has too many elements and attributes"},
    };
    for (const auto& [feed, wanted] : cases) EXPECT_EQ(offered(feed), wanted) << feed.substr(0, 200);
    for (std::size_t length = 0; length < whole.size(); ++length) {
        ASSERT_FALSE(readAppcast(asBytes(std::string_view{whole}.substr(0, length)), base)) << length;
    }
    std::string deep;
    for (int depth = 0; depth < 100'000; ++depth) deep += "<a>";
    EXPECT_TRUE(offered(rss(deep)).starts_with("the feed is not a whole XML document: start-end tags mismatch"));
}

TEST(WebAddress, ResolvesAsTheStandardSays) {
    constexpr std::string_view document = "http://a/b/c/d;p?q", arrow = " -> ";
    for (const std::string_view row :
         {"g -> /b/c/g", "/g -> /g", "g;x?y#s -> /b/c/g;x?y#s", "?y -> /b/c/d;p?y", "#s -> /b/c/d;p?q#s", ". -> /b/c/",
          ".. -> /b/", "../.. -> /", "../../../g -> /g", "/./g -> /g", "/../g -> /g", "..g -> /b/c/..g",
          "./g/. -> /b/c/g/", "g;x=1/../y -> /b/c/y", "g?y/../x -> /b/c/g?y/../x", "1:g -> /b/c/1:g",
          " g h\xC3\xA9  -> /b/c/g%20h%C3%A9", "HTTP://a/x/../b -> /b", "//a -> "}) {
        const std::size_t end = row.find(arrow);
        EXPECT_EQ(webAddress(document, row.substr(0, end)), "http://a" + std::string{row.substr(end + arrow.size())})
            << row;
    }
    EXPECT_EQ(webAddress("http://a", "g"), "http://a/g");
    for (const std::string_view malformed : {"", " ", "http:g", "http:///g", "http://:80/", "https://u@", "a\nb"}) {
        EXPECT_EQ(webAddress(document, malformed), std::unexpected(AddressFault::malformed)) << malformed;
    }
    EXPECT_EQ(webAddress("", "g"), std::unexpected(AddressFault::malformed));
    for (const std::string_view other : {"file:///g", "javascript:g", "ftp://a/g", "C:/g"}) {
        EXPECT_EQ(webAddress(document, other), std::unexpected(AddressFault::otherScheme)) << other;
    }
}

}  // namespace

}  // namespace larkmoor
