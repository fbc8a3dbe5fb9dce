#include "engine/core/XMLParser.h"

#include "engine/core/Log.h"
#include "engine/core/PathDatabase.h"
#include "core/RecordingParser.h"
#include "core/TestSupport.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

using engine::core::XMLParser;
using engine::core::Log::Level;
using engine::core::PathDatabase::add_root;
using engine::core::PathDatabase::remove_root;
using engine::core::test::LogCapture;
using engine::core::test::TemporaryDirectory;
using engine::core::test::Events;
using engine::core::test::RecordingParser;
using engine::core::test::events_of;
using engine::core::test::mentions;
using engine::core::test::starts_with;


TEST(XMLParser, CallbacksComeInDocumentOrder) {
    EXPECT_EQ(events_of("<scene><layer id=\"1\"><sprite/></layer><layer id=\"2\"/></scene>"),
              (Events{"start scene", "start layer id=1", "start sprite", "end sprite", "end layer", "start layer id=2",
                      "end layer", "end scene"}));
}

TEST(XMLParser, AttributesArriveByName) {
    RecordingParser parser;
    EXPECT_TRUE(parser.parse_text("<sprite position=\"10, 20\" colour='#ff0000' name=\"a &amp; b\"/>"));
    const XMLParser::Attributes expected{{"position", "10, 20"}, {"colour", "#ff0000"}, {"name", "a & b"}};
    EXPECT_EQ(parser.last_attributes, expected);
}

TEST(XMLParser, ElementWithoutAttributesGivesEmptyMap) {
    RecordingParser parser;
    EXPECT_TRUE(parser.parse_text("<a/>"));
    EXPECT_TRUE(parser.last_attributes.empty());
}

TEST(XMLParser, CharacterDataIsJoinedBetweenTags) {
    // Entities, a comment and CDATA split the data inside expat; the callback sees one piece.
    EXPECT_EQ(events_of("<a>one &amp; two<!-- c --> three<![CDATA[ <four> ]]></a>"),
              (Events{"start a", "data [one & two three <four> ]", "end a"}));
}

TEST(XMLParser, CharacterDataIsDeliveredBeforeTheNextTag) {
    EXPECT_EQ(events_of("<a>x<b>y</b>z</a>"),
              (Events{"start a", "data [x]", "start b", "data [y]", "end b", "data [z]", "end a"}));
}

TEST(XMLParser, WhiteSpaceBetweenTagsIsData) {
    EXPECT_EQ(events_of("<a>\n  <b/>\n</a>"),
              (Events{"start a", "data [\n  ]", "start b", "end b", "data [\n]", "end a"}));
}

TEST(XMLParser, NonAsciiTextArrivesAsUtf8) {
    EXPECT_EQ(events_of("<a t=\"\xc3\xa9\">\xe2\x82\xac</a>"),
              (Events{"start a t=\xc3\xa9", "data [\xe2\x82\xac]", "end a"}));
}

TEST(XMLParser, BaseClassCallbacksDoNothing) {
    XMLParser parser;
    EXPECT_TRUE(parser.parse_text("<a b=\"c\">text</a>"));
}

TEST(XMLParser, MalformedDocumentKeepsEarlierCallbacksAndReturnsFalse) {
    LogCapture log;
    RecordingParser parser;
    EXPECT_FALSE(parser.parse_text("<a>\n<b>text</b>\n<c>\n</a>", "broken.xml"));
    // Every tag before the error was reported; text still waiting for its closing tag
    // when the error came may or may not be.
    EXPECT_TRUE(starts_with(parser.events,
                            {"start a", "data [\n]", "start b", "data [text]", "end b", "data [\n]", "start c"}));
    EXPECT_LE(parser.events.size(), 8u);
}

TEST(XMLParser, MalformedDocumentLogsAWarningNamingTheLine) {
    LogCapture log;
    RecordingParser parser;
    EXPECT_FALSE(parser.parse_text("<a>\n<b>text</b>\n<c>\n</a>", "broken.xml"));
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].level, Level::Warning);
    EXPECT_EQ(entries[0].category, "core");
    EXPECT_TRUE(mentions(entries[0].message, "line 4")) << entries[0].message;
    EXPECT_TRUE(mentions(entries[0].message, "broken.xml")) << entries[0].message;
}

TEST(XMLParser, EmptyAndTruncatedDocumentsFail) {
    LogCapture log;
    for (const char* text : {"", "<a>", "<a><b></a>", "not xml", "<a></a><b/>"}) {
        RecordingParser parser;
        EXPECT_FALSE(parser.parse_text(text)) << text;
    }
    EXPECT_EQ(log.entries().size(), 5u);
}

TEST(XMLParser, ParseFileFindsTheFileThroughPathDatabase) {
    TemporaryDirectory directory;
    directory.write("levels/one.xml", "<level name=\"one\"/>");
    add_root(directory.path());
    RecordingParser parser;
    const bool parsed = parser.parse_file("levels/one.xml");
    remove_root(directory.path());
    EXPECT_TRUE(parsed);
    EXPECT_EQ(parser.events, (Events{"start level name=one", "end level"}));
}

TEST(XMLParser, ParseFileNamesTheFileAndLineOnError) {
    TemporaryDirectory directory;
    const std::string path = directory.write("bad.xml", "<a>\n\n<b>\n</a>\n");
    LogCapture log;
    RecordingParser parser;
    EXPECT_FALSE(parser.parse_file(path));
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_TRUE(mentions(entries[0].message, "bad.xml")) << entries[0].message;
    EXPECT_TRUE(mentions(entries[0].message, "line 4")) << entries[0].message;
}

TEST(XMLParser, MissingFileReturnsFalseAndLogsAWarning) {
    LogCapture log;
    RecordingParser parser;
    EXPECT_FALSE(parser.parse_file("no/such/file-for-xml-test.xml"));
    EXPECT_TRUE(parser.events.empty());
    const auto entries = log.entries();
    ASSERT_EQ(entries.size(), 1u);
    EXPECT_EQ(entries[0].level, Level::Warning);
    EXPECT_EQ(entries[0].category, "core");
    EXPECT_TRUE(mentions(entries[0].message, "no/such/file-for-xml-test.xml")) << entries[0].message;
}

// Entities: a document may not declare any, so nothing it says can expand into a flood
// of text or pull in a file from outside it.
namespace {

// Ten levels of ten references each: 10^10 copies of "lol" if expanded.
std::string billion_laughs(const std::string& use) {
    std::string document = "<!DOCTYPE lolz [\n<!ENTITY lol0 \"lol\">\n";
    for (int level = 1; level <= 10; ++level) {
        document += "<!ENTITY lol" + std::to_string(level) + " \"";
        for (int i = 0; i < 10; ++i) document += "&lol" + std::to_string(level - 1) + ";";
        document += "\">\n";
    }
    return document + "]>\n" + use;
}

bool any_mentions(const Events& events, const std::string& part) {
    return std::any_of(events.begin(), events.end(), [&](const std::string& e) { return mentions(e, part); });
}

}  // namespace

TEST(XMLParser, BillionLaughsFailsBeforeExpandingAnything) {
    for (const std::string& use : {std::string("<lolz>&lol10;</lolz>"), std::string("<lolz a=\"&lol10;\"/>")}) {
        LogCapture log;
        RecordingParser parser;
        EXPECT_FALSE(parser.parse_text(billion_laughs(use), "laughs.xml")) << use;
        EXPECT_FALSE(any_mentions(parser.events, "lol")) << use;
        const auto entries = log.entries();
        ASSERT_EQ(entries.size(), 1u);
        EXPECT_TRUE(mentions(entries[0].message, "entity declarations are refused")) << entries[0].message;
        EXPECT_TRUE(mentions(entries[0].message, "line 2")) << entries[0].message;
    }
}

TEST(XMLParser, InternalEntityDeclarationIsRefused) {
    LogCapture log;
    RecordingParser parser;
    EXPECT_FALSE(parser.parse_text("<!DOCTYPE a [<!ENTITY e \"inner\">]><a>&e;</a>"));
    EXPECT_TRUE(parser.events.empty());
}

TEST(XMLParser, PredefinedEntitiesAndCharacterReferencesStillWork) {
    RecordingParser parser;
    EXPECT_TRUE(parser.parse_text("<a t=\"&quot;&apos;\">&lt;&gt;&amp;&#65;&#x42;</a>"));
    EXPECT_EQ(parser.events, (Events{"start a t=\"'", "data [<>&AB]", "end a"}));
}

TEST(XMLParser, ExternalEntitiesNeverReadTheFileTheyName) {
    TemporaryDirectory directory;
    const std::string secret = directory.write("secret.txt", "TOPSECRET");
    const std::string dtd = directory.write("secret.dtd", "<!ENTITY e \"TOPSECRET\">");
    add_root(directory.path());
    const std::string documents[] = {
        // A general entity in content and in an attribute, by absolute path and URL and
        // by a name the path database would resolve.
        "<!DOCTYPE a [<!ENTITY e SYSTEM \"" + secret + "\">]><a>x&e;y</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM \"file://" + secret + "\">]><a>x&e;y</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM \"secret.txt\">]><a>x&e;y</a>",
        "<!DOCTYPE a [<!ENTITY e SYSTEM \"" + secret + "\">]><a b=\"&e;\"/>",
        // A parameter entity and an external subset, both declaring what &e; would be.
        "<!DOCTYPE a [<!ENTITY % p SYSTEM \"" + dtd + "\"> %p;]><a>x&e;y</a>",
        "<!DOCTYPE a SYSTEM \"" + dtd + "\"><a>x&e;y</a>",
        "<!DOCTYPE a PUBLIC \"-//engine//secret//EN\" \"" + dtd + "\"><a>x&e;y</a>",
    };
    for (const std::string& document : documents) {
        LogCapture log;
        RecordingParser parser;
        const bool parsed = parser.parse_text(document);
        EXPECT_FALSE(any_mentions(parser.events, "TOPSECRET")) << document;
        // Either the declaration stopped the parse, or the reference was left out.
        if (parsed) {
            EXPECT_EQ(parser.events, (Events{"start a", "data [xy]", "end a"})) << document;
        }
    }
    remove_root(directory.path());
}
