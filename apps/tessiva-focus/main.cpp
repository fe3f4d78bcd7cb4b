#include <CLI/CLI.hpp>

#include "ProfileCommand.h"

// Each subcommand registers itself here; later ones ("run", "demo") sit beside "profile".
int main(int argc, char** argv) {
    CLI::App app{"Tessiva Focus: links Logic Pro's track selection to the Tessiva iPad app"};
    app.require_subcommand(1);

    int exitCode = 0;
    tessiva::addProfileCommand(app, exitCode);

    CLI11_PARSE(app, argc, argv);
    return exitCode;
}
