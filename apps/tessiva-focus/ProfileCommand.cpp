#include "ProfileCommand.h"

#include <fmt/format.h>

#include <CLI/CLI.hpp>
#include <iostream>
#include <memory>
#include <ostream>
#include <string>

#include "mapping/ProfileCodec.h"
#include "runtime/AtomicFile.h"

namespace tessiva {

int checkProfile(const std::filesystem::path& file, std::ostream& out, std::ostream& err) {
    std::string readError;
    const auto data = readWholeFile(file, &readError);
    if (!data) {
        err << fmt::format("error: {}\n", readError);
        return 1;
    }
    const ProfileDecodeResult decoded = ProfileCodec::decode(*data);
    if (!decoded.ok()) {
        err << fmt::format("error: {}: {}\n", file.string(), decoded.error.describe());
        return 1;
    }
    const MappingProfileSnapshot& snapshot = *decoded.snapshot;
    out << fmt::format(
        "{}: {} rows with MIDI mappings, {} rows with bank-focus mappings, version {}\n",
        file.string(), snapshot.rowsWithMIDIMappings().size(),
        snapshot.oscBankFocusMappingsByTrackIndex.size(), snapshot.version);
    return 0;
}

void addProfileCommand(CLI::App& app, int& exitCode) {
    CLI::App* profile = app.add_subcommand("profile", "Work with mappings profile files");
    profile->require_subcommand(1);

    CLI::App* check = profile->add_subcommand(
        "check", "Decode a mappings profile and summarise it; the file is never modified");
    auto file = std::make_shared<std::string>();
    check->add_option("FILE", *file, "The profile to check")->required();
    check->callback([file, &exitCode] { exitCode = checkProfile(*file, std::cout, std::cerr); });
}

}  // namespace tessiva
