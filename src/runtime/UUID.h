#pragma once

#include <string>
#include <string_view>

namespace tessiva {

// A fresh random (version 4) UUID in upper case, "E621E1F8-C36C-495A-93FC-0C247A3E6E5F".
std::string makeUUID();

// True for the 8-4-4-4-12 hexadecimal form, either case.
bool isUUIDString(std::string_view text);

}  // namespace tessiva
