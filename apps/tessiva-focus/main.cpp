#include <CLI/CLI.hpp>

#include "DemoCommand.h"
#include "ProfileCommand.h"
#include "RunCommand.h"

// Each subcommand registers itself here.
int main(int argc, char** argv) {
    CLI::App app{"Tessiva Focus: links Logic Pro's track selection to the Tessiva iPad app"};
    app.require_subcommand(1);

    int exitCode = 0;
    tessiva::addProfileCommand(app, exitCode);
    tessiva::addRunCommand(app, exitCode);
    tessiva::addDemoCommand(app, exitCode);

    CLI11_PARSE(app, argc, argv);
    return exitCode;
}
