#include <gtest/gtest.h>

#include "osc/OSCCodec.h"
#include "runtime/AtomicFile.h"
#include "support/TempFolder.h"
#include "transfer/ArticulationSetTransfer.h"
#include "transfer/NavigationExportSaver.h"
#include "transfer/PropertyListCheck.h"

namespace tessiva {
namespace {

const std::string kSet = R"(<?xml version="1.0" encoding="UTF-8"?>
<!DOCTYPE plist PUBLIC "-//Apple//DTD PLIST 1.0//EN" "http://www.apple.com/DTDs/PropertyList-1.0.dtd">
<plist version="1.0">
<dict>
	<key>Articulations</key>
	<array>
		<dict><key>ArticulationID</key><integer>1</integer><key>Name</key><string>Légato</string>
		<key>Gain</key><real>-1.5</real><key>Muted</key><false/></dict>
	</array>
	<!-- written by Logic -->
	<key>Name</key><string>Strings &amp; Co</string>
</dict>
</plist>
)";

TEST(PropertyListCheck, AcceptsLogicsXMLAndRefusesWhatIsNotAReadablePropertyList) {
    EXPECT_EQ(propertyListRefusal(kSet), std::nullopt);
    EXPECT_EQ(propertyListRefusal("\xEF\xBB\xBF<plist><array/></plist>"), std::nullopt);
    // Letters of one to four UTF-8 bytes are text like any other.
    EXPECT_EQ(propertyListRefusal("<plist><string>Flöte ✓ 🎻</string></plist>"), std::nullopt);
    struct Case {
        std::string text;
        std::string reason;
    };
    const std::vector<Case> cases = {
        {"bplist00\x01\x02", "binary property list"},
        {"", "no <plist> element"},
        {"{\"json\": true}", "text outside of a value"},
        {"<plist><dict><key>A</key></dict></plist>", "a <key> in a <dict> has no value"},
        {"<plist><dict><string>A</string></dict></plist>", "a <dict> value has no <key>"},
        {"<plist><dict><key>A</key><key>B</key></dict></plist>", "a <key> follows a <key>"},
        {"<plist><array><integer>one</integer></array></plist>", "not a number"},
        {"<plist><array></plist>", "does not close"},
        {"<plist><array/><array/></plist>", "exactly one value"},
        {"<plist><array/>", "never closed"},
        {"<html><body/></html>", "<html>"},
        {"<plist><array><></></array></plist>", "element <>"},
        {"<plist><array/></plist><plist><array/></plist>", "not one <plist>"},
        {std::string("<plist><string>a\0b</string></plist>", 35), "NUL"},
        {"<plist><string>\xC3</string></plist>", "UTF-8"},
        {"<plist><string>\xF0\x9F\x8E</string></plist>", "UTF-8"},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.text);
        const auto refusal = propertyListRefusal(c.text);
        ASSERT_TRUE(refusal);
        EXPECT_NE(refusal->find(c.reason), std::string::npos) << *refusal;
    }
}

TEST(ArticulationSetTransfer, SmallFilesGoWholeLargeOnesInChunksThatStayUnderTheSafeSize) {
    const auto single = articulationSetMessages("Strings.plist", "T-1", kSet);
    ASSERT_EQ(single.size(), 1u);
    EXPECT_EQ(single[0].address, "/tessiva/articulationset/import");
    EXPECT_EQ(*single[0].arguments[2].asString(), kSet);

    // Multi-byte letters straddle the chunk borders; the pieces must still join to the file.
    std::string large = "<plist><array>";
    while (large.size() < 5000)
        large += "<string>Flöte ✓ 🎻</string>";
    large += "</array></plist>";
    const auto messages = articulationSetMessages("Large.plist", "T-2", large);
    ASSERT_GE(messages.size(), 7u);
    EXPECT_EQ(messages.front().address, "/tessiva/articulationset/import/begin");
    EXPECT_EQ(*messages.front().arguments[2].asInt32(), static_cast<int>(large.size()));
    const int count = *messages.front().arguments[3].asInt32();
    EXPECT_EQ(count, static_cast<int>(messages.size()) - 2);
    EXPECT_EQ(messages.back().address, "/tessiva/articulationset/import/end");
    EXPECT_EQ(*messages.back().arguments[1].asInt32(), count);
    std::string joined;
    for (std::size_t i = 1; i + 1 < messages.size(); ++i) {
        const auto& chunk = messages[i];
        EXPECT_EQ(*chunk.arguments[1].asInt32(), static_cast<int>(i - 1));
        EXPECT_LE(encodeMessage(chunk.address, chunk.arguments).size(), kTransferDatagramBytes);
        const std::string& text = *chunk.arguments[3].asString();
        EXPECT_FALSE(text.empty());
        EXPECT_NE(static_cast<unsigned char>(text.front()) & 0xC0, 0x80) << "split a letter";
        joined += text;
    }
    EXPECT_EQ(joined, large);
    EXPECT_LT(kTransferDatagramBytes, kSafeUdpPayloadBytes);
}

TEST(NavigationExportSaver, NamesFilesSafelyNeverReplacesOneAndRefusesAMissingFolder) {
    TempFolder folder;
    const Date date = 800'000'000.0;
    struct Case {
        std::optional<std::string> proposed;
        std::string name;
    };
    const std::vector<Case> cases = {
        {"Navigation.json", "Navigation.json"},
        {"../../etc/passwd", "passwd.json"},
        {".hidden", "hidden.json"},
        {"Set:\x01One.txt", "One.txt"},
        {std::nullopt, "Tessiva Navigation Export "},
    };
    for (const auto& c : cases) {
        SCOPED_TRACE(c.proposed.value_or("<none>"));
        const auto path = navigationExportPath(folder.path(), c.proposed, date);
        EXPECT_EQ(path.parent_path(), folder.path());
        EXPECT_TRUE(path.filename().string().starts_with(c.name)) << path;
    }
    auto first = saveNavigationExport(folder.path(), "Nav.json", "one", date);
    auto second = saveNavigationExport(folder.path(), "Nav.json", "two", date);
    ASSERT_TRUE(std::holds_alternative<std::filesystem::path>(second));
    EXPECT_EQ(std::get<std::filesystem::path>(first).filename(), "Nav.json");
    EXPECT_EQ(std::get<std::filesystem::path>(second).filename(), "Nav 2.json");
    EXPECT_EQ(readWholeFile(folder / "Nav.json"), "one");
    EXPECT_EQ(readWholeFile(folder / "Nav 2.json"), "two");

    auto missing = saveNavigationExport(folder / "gone", "Nav.json", "x", date);
    ASSERT_TRUE(std::holds_alternative<std::string>(missing));
    EXPECT_NE(std::get<std::string>(missing).find("does not exist"), std::string::npos);
}

}  // namespace
}  // namespace tessiva
