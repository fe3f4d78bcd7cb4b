#include "platform/macos/MacUserDefaults.h"

#include <CoreFoundation/CoreFoundation.h>

#include <vector>

#include "platform/macos/CFHandles.h"
#include "platform/macos/CFTypeView.h"
#include "platform/macos/portable/PreferenceValueConversion.h"

namespace tessiva {

namespace {

using macos::CFOwned;
using macos::cfString;

CFOwned<CFTypeRef> propertyListFor(const UserDefaults::Value& value) {
    if (const auto* flag = std::get_if<bool>(&value))
        return CFOwned<CFTypeRef>(CFRetain(*flag ? kCFBooleanTrue : kCFBooleanFalse));
    if (const auto* number = std::get_if<std::int64_t>(&value)) {
        const SInt64 stored = *number;
        return CFOwned<CFTypeRef>(
            CFNumberCreate(kCFAllocatorDefault, kCFNumberSInt64Type, &stored));
    }
    if (const auto* text = std::get_if<std::string>(&value))
        return CFOwned<CFTypeRef>(cfString(*text).release());
    const auto& list = std::get<std::vector<std::string>>(value);
    std::vector<CFOwned<CFStringRef>> strings;
    std::vector<const void*> refs;
    for (const auto& item : list) {
        strings.push_back(cfString(item));
        refs.push_back(strings.back().get());
    }
    return CFOwned<CFTypeRef>(CFArrayCreate(kCFAllocatorDefault, refs.data(),
                                            static_cast<CFIndex>(refs.size()),
                                            &kCFTypeArrayCallBacks));
}

class MacUserDefaults final : public UserDefaults {
  public:
    explicit MacUserDefaults(const std::string& applicationIdentifier)
        : domain_(cfString(applicationIdentifier)) {}

    std::optional<Value> value(const std::string& key) const override {
        auto name = cfString(key);
        CFOwned<CFPropertyListRef> stored(CFPreferencesCopyAppValue(name.get(), domain_.get()));
        if (!stored)
            return std::nullopt;
        return preferenceValueFromCF(macos::CFTypeView(stored.get()));
    }

    void setValue(const std::string& key, Value value) override {
        auto name = cfString(key);
        auto stored = propertyListFor(value);
        CFPreferencesSetAppValue(name.get(), stored.get(), domain_.get());
        CFPreferencesAppSynchronize(domain_.get());
    }

    void remove(const std::string& key) override {
        auto name = cfString(key);
        CFPreferencesSetAppValue(name.get(), nullptr, domain_.get());
        CFPreferencesAppSynchronize(domain_.get());
    }

  private:
    CFOwned<CFStringRef> domain_;
};

}  // namespace

std::unique_ptr<UserDefaults> makeMacUserDefaults(const std::string& applicationIdentifier) {
    return std::make_unique<MacUserDefaults>(applicationIdentifier);
}

}  // namespace tessiva
