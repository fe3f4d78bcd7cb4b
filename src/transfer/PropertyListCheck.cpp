#include "transfer/PropertyListCheck.h"

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <vector>

namespace tessiva {

namespace {

constexpr std::array<std::string_view, 11> kElements = {
    "plist", "dict", "array", "key", "string", "integer", "real", "true", "false", "date", "data"};

bool isValue(std::string_view name) {
    return name != "plist" && name != "key";
}
// Elements whose content is text rather than other elements.
bool holdsText(std::string_view name) {
    return name == "key" || name == "string" || name == "integer" || name == "real" ||
           name == "date" || name == "data";
}

bool isBlank(std::string_view text) {
    return std::all_of(text.begin(), text.end(),
                       [](unsigned char c) { return std::isspace(c) != 0; });
}

bool isValidUTF8(std::string_view text) {
    std::size_t i = 0;
    while (i < text.size()) {
        const auto c = static_cast<unsigned char>(text[i]);
        std::size_t length = c < 0x80           ? 1
                             : (c >> 5) == 0x6  ? 2
                             : (c >> 4) == 0xE  ? 3
                             : (c >> 3) == 0x1E ? 4
                                                : 0;
        if (length == 0 || i + length > text.size())
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            if ((static_cast<unsigned char>(text[i + k]) & 0xC0) != 0x80)
                return false;
        }
        i += length;
    }
    return true;
}

bool isNumber(std::string_view text, bool integer) {
    const std::string value(text.substr(text.find_first_not_of(" \t\r\n") == std::string_view::npos
                                            ? text.size()
                                            : text.find_first_not_of(" \t\r\n")));
    std::string trimmed = value.substr(0, value.find_last_not_of(" \t\r\n") + 1);
    if (trimmed.empty())
        return false;
    char* end = nullptr;
    if (integer) {
        const bool hex = trimmed.rfind("0x", 0) == 0 || trimmed.rfind("-0x", 0) == 0;
        (void)std::strtoll(trimmed.c_str(), &end, hex ? 16 : 10);
    } else {
        (void)std::strtod(trimmed.c_str(), &end);
    }
    return end == trimmed.c_str() + trimmed.size();
}

// One open element and what it has held so far.
struct Open {
    std::string_view name;
    std::size_t children = 0;
    bool expectKey = true;  // in a dict: a <key> comes next
    std::size_t textStart = 0;
};

}  // namespace

std::optional<std::string> propertyListRefusal(std::string_view text) {
    if (text.starts_with("bplist"))
        return std::string(
            "it is a binary property list; save it as XML (for example with "
            "\"plutil -convert xml1\") and import again");
    if (text.find('\0') != std::string_view::npos)
        return std::string("it holds NUL bytes, so it is not a text property list");
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    if (!isValidUTF8(text))
        return std::string("it is not valid UTF-8 text");

    std::vector<Open> stack;
    bool sawRoot = false;
    std::size_t i = 0;
    auto fail = [](std::string message) { return std::optional<std::string>(std::move(message)); };
    while (i < text.size()) {
        const std::size_t lt = text.find('<', i);
        const std::string_view between =
            text.substr(i, lt == std::string_view::npos ? text.npos : lt - i);
        if (!isBlank(between) && (stack.empty() || !holdsText(stack.back().name)))
            return fail("it has text outside of a value");
        if (lt == std::string_view::npos)
            break;
        if (text.compare(lt, 4, "<!--") == 0) {
            const std::size_t end = text.find("-->", lt + 4);
            if (end == std::string_view::npos)
                return fail("a comment is never closed");
            i = end + 3;
            continue;
        }
        if (text.compare(lt, 2, "<?") == 0 || text.compare(lt, 2, "<!") == 0) {
            if (!stack.empty())
                return fail("it has a declaration inside a value");
            const std::size_t end = text.find('>', lt);
            if (end == std::string_view::npos)
                return fail("a declaration is never closed");
            i = end + 1;
            continue;
        }
        const std::size_t gt = text.find('>', lt);
        if (gt == std::string_view::npos)
            return fail("a tag is never closed");
        std::string_view tag = text.substr(lt + 1, gt - lt - 1);
        const bool closing = tag.starts_with("/");
        const bool empty = !closing && tag.ends_with("/");
        if (closing)
            tag.remove_prefix(1);
        if (empty)
            tag.remove_suffix(1);
        const std::string_view name = tag.substr(0, tag.find_first_of(" \t\r\n"));
        if (std::find(kElements.begin(), kElements.end(), name) == kElements.end())
            return fail("it has an element <" + std::string(name) + "> that no property list has");
        i = gt + 1;

        if (closing) {
            if (stack.empty() || stack.back().name != name)
                return fail("</" + std::string(name) + "> does not close the open element");
            const Open done = stack.back();
            stack.pop_back();
            const std::string_view content = text.substr(done.textStart, lt - done.textStart);
            if ((name == "integer" || name == "real") && !isNumber(content, name == "integer"))
                return fail("<" + std::string(name) + "> holds \"" +
                            std::string(content.substr(0, 20)) + "\", which is not a number");
            if (name == "dict" && !done.expectKey)
                return fail("a <key> in a <dict> has no value");
            if (name == "plist" && done.children != 1)
                return fail("<plist> must hold exactly one value");
            continue;
        }
        // An opening (or empty) element: check it may stand here.
        if (stack.empty()) {
            if (name != "plist" || sawRoot)
                return fail("the document is not one <plist> element");
            sawRoot = true;
        } else {
            Open& parent = stack.back();
            if (holdsText(parent.name))
                return fail("<" + std::string(parent.name) + "> holds an element");
            if (parent.name == "true" || parent.name == "false")
                return fail("<" + std::string(parent.name) + "/> holds an element");
            if (parent.name == "dict") {
                if (parent.expectKey != (name == "key"))
                    return fail(parent.expectKey ? "a <dict> value has no <key>"
                                                 : "a <key> follows a <key> in a <dict>");
                parent.expectKey = !parent.expectKey;
            } else if (name == "key" || name == "plist") {
                return fail("<" + std::string(name) + "> stands outside a <dict>");
            }
            if (parent.name == "plist" && !isValue(name))
                return fail("<plist> holds no value");
            ++parent.children;
        }
        if (empty) {
            if (name == "plist" || name == "key")
                return fail("<" + std::string(name) + "/> is empty");
            if (name == "integer" || name == "real")
                return fail("<" + std::string(name) + "/> holds no number");
            continue;
        }
        stack.push_back(Open{name, 0, true, i});
    }
    if (!stack.empty())
        return fail("<" + std::string(stack.back().name) + "> is never closed");
    if (!sawRoot)
        return fail("it has no <plist> element");
    return std::nullopt;
}

}  // namespace tessiva
