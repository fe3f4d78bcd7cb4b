#include <gtest/gtest.h>

#include <variant>

#include "platform/macos/portable/AXValueConversion.h"
#include "platform/macos/portable/PreferenceValueConversion.h"

namespace tessiva {
namespace {

// A Core Foundation value as plain data: what the macOS wrapper reports for a real CFTypeRef.
struct CF {
    CFValueKind shape = CFValueKind::null;
    std::optional<std::string> text{};
    bool flag = false;
    bool isFloat = false;
    std::int64_t whole = 0;
    double fraction = 0;
    std::uint64_t elementIdentity = 0;
    std::vector<CF> items{};
    AXFrame frame{};
};
struct FakeCF final : CF, CFValueView {
    FakeCF(CF data) : CF(std::move(data)) {}  // implicit: helpers return CF

    CFValueKind kind() const override { return shape; }
    std::optional<std::string> string() const override { return text; }
    bool boolean() const override { return flag; }
    bool numberIsFloat() const override { return isFloat; }
    std::int64_t integer() const override { return whole; }
    double real() const override { return fraction; }
    AXElement element() const override {
        if (elementIdentity == 0)
            return {};
        return AXElement(std::make_shared<int>(0), elementIdentity);
    }
    std::size_t count() const override { return items.size(); }
    std::unique_ptr<CFValueView> item(std::size_t index) const override {
        return std::make_unique<FakeCF>(items.at(index));
    }
    AXFrame geometry() const override { return frame; }
};

FakeCF of(CFValueKind kind) {
    return CF{.shape = kind};
}
FakeCF text(std::optional<std::string> content) {
    return CF{.shape = CFValueKind::string, .text = std::move(content)};
}
FakeCF element(std::uint64_t identity) {
    return CF{.shape = CFValueKind::element, .elementIdentity = identity};
}
FakeCF number(std::int64_t whole) {
    return CF{.shape = CFValueKind::number, .whole = whole};
}
FakeCF real(double fraction) {
    return CF{.shape = CFValueKind::number, .isFloat = true, .fraction = fraction};
}
FakeCF array(std::vector<CF> items) {
    return CF{.shape = CFValueKind::array, .items = std::move(items)};
}

TEST(MacAXConversion, AttributeValuesAndArraysTakeThePortsShapes) {
    EXPECT_EQ(axValueFromCF(text("Tracks header")), AXValue(std::string("Tracks header")));
    EXPECT_TRUE(axIsAbsent(axValueFromCF(text(std::nullopt))));
    EXPECT_EQ(axValueFromCF(FakeCF(CF{.shape = CFValueKind::boolean, .flag = true})),
              AXValue(true));
    EXPECT_EQ(axValueFromCF(number(7)), AXValue(std::int64_t{7}));
    EXPECT_EQ(axValueFromCF(real(120.5)), AXValue(120.5));
    EXPECT_TRUE(axIsAbsent(axValueFromCF(of(CFValueKind::null))));
    EXPECT_TRUE(axIsAbsent(axValueFromCF(of(CFValueKind::other))));
    EXPECT_EQ(axElement(axValueFromCF(element(99))).identity(), 99u);
    EXPECT_TRUE(axIsAbsent(axValueFromCF(element(0))));

    SCOPED_TRACE("arrays are element lists or nothing");
    const auto rows = axElements(axValueFromCF(array({element(1), element(2), element(3)})));
    ASSERT_EQ(rows.size(), 3u);
    EXPECT_EQ(rows[2].identity(), 3u);
    EXPECT_EQ(axValueFromCF(array({})), AXValue(std::vector<AXElement>{}));
    // A list with anything but elements has no shape in the port.
    EXPECT_TRUE(axIsAbsent(axValueFromCF(array({element(1), text("x")}))));
    EXPECT_TRUE(axIsAbsent(axValueFromCF(array({element(1), element(0)}))));
}

TEST(MacAXConversion, GeometryKeepsOnlyItsOwnPartAndAppKitLocationsFlipToTheTopLeft) {
    FakeCF geometry = CF{.frame = {{10, 20}, {300, 40}}};
    geometry.shape = CFValueKind::axValuePoint;
    EXPECT_EQ(axValueFromCF(geometry), AXValue(AXPoint{10, 20}));
    geometry.shape = CFValueKind::axValueSize;
    EXPECT_EQ(axValueFromCF(geometry), AXValue(AXSize{300, 40}));
    geometry.shape = CFValueKind::axValueRect;
    EXPECT_EQ(axValueFromCF(geometry), AXValue(AXFrame{{10, 20}, {300, 40}}));
    EXPECT_EQ(topLeftFromBottomLeft({100, 0}, 900), (AXPoint{100, 900}));
    EXPECT_EQ(topLeftFromBottomLeft({5, 875}, 900), (AXPoint{5, 25}));
}

TEST(MacAXConversion, SystemErrorNumbersMapToThePortsErrors) {
    EXPECT_EQ(axErrorFromSystemCode(0), AXError::success);
    EXPECT_EQ(axErrorFromSystemCode(-25202), AXError::invalidUIElement);
    EXPECT_EQ(axErrorFromSystemCode(-25204), AXError::cannotComplete);
    EXPECT_EQ(axErrorFromSystemCode(-25211), AXError::apiDisabled);
    EXPECT_EQ(axErrorFromSystemCode(-25212), AXError::noValue);
    for (int unknown : {1, -1, -25199, -25213})
        EXPECT_EQ(axErrorFromSystemCode(unknown), AXError::failure) << unknown;
}

TEST(MacAXConversion, WritesOnlyOfShapesLogicAccepts) {
    EXPECT_EQ(cfWriteShape(true), CFWriteShape::boolean);
    EXPECT_EQ(cfWriteShape(std::string("Bass")), CFWriteShape::string);
    EXPECT_EQ(cfWriteShape(std::int64_t{3}), CFWriteShape::integer);
    EXPECT_EQ(cfWriteShape(96.0), CFWriteShape::real);
    EXPECT_EQ(cfWriteShape(std::vector<AXElement>{}), CFWriteShape::elementArray);
    EXPECT_EQ(cfWriteShape(AXElement(std::make_shared<int>(0), 5)), CFWriteShape::element);
    EXPECT_EQ(cfWriteShape(AXElement()), CFWriteShape::unsupported);
    EXPECT_EQ(cfWriteShape(std::monostate{}), CFWriteShape::unsupported);
    EXPECT_EQ(cfWriteShape(AXPoint{1, 2}), CFWriteShape::unsupported);
}

TEST(MacPreferenceConversion, StoredValuesReadBackAsDefaultsOrMissing) {
    EXPECT_EQ(preferenceValueFromCF(FakeCF(CF{.shape = CFValueKind::boolean, .flag = true})),
              UserDefaults::Value(true));
    EXPECT_EQ(preferenceValueFromCF(number(54321)), UserDefaults::Value(std::int64_t{54321}));
    EXPECT_EQ(preferenceValueFromCF(text("Song.json")),
              UserDefaults::Value(std::string("Song.json")));
    EXPECT_EQ(preferenceValueFromCF(array({text("a.json"), text("b.json")})),
              UserDefaults::Value(std::vector<std::string>{"a.json", "b.json"}));
    EXPECT_EQ(preferenceValueFromCF(array({})), UserDefaults::Value(std::vector<std::string>{}));
    // Written by hand with `defaults write`: shapes no key of ours holds.
    EXPECT_FALSE(preferenceValueFromCF(real(1.5)));
    EXPECT_FALSE(preferenceValueFromCF(array({text("a"), number(1)})));
    EXPECT_FALSE(preferenceValueFromCF(array({text(std::nullopt)})));
    EXPECT_FALSE(preferenceValueFromCF(text(std::nullopt)));
    EXPECT_FALSE(preferenceValueFromCF(of(CFValueKind::other)));
}

}  // namespace
}  // namespace tessiva
