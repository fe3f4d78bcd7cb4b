// Applies and undoes one insertion repair for ever on a 400-row profile in the folder given, so
// that the crash test can kill it while it writes. Prints "ready" once the first profile is on
// disk. Not a test by itself.
#include <cstdio>
#include <iostream>

#include "support/RepairRig.h"

using namespace tessiva;

int main(int argc, char** argv) {
    if (argc != 2) {
        std::cerr << "usage: tessiva-repair-crash-helper FOLDER\n";
        return 2;
    }
    RepairRig rig(argv[1]);
    const RowMap before = RepairRig::namedRows(400);
    rig.mapRows(before);
    if (!rig.store.save()) {
        std::cerr << "could not save\n";
        return 1;
    }
    rig.trust(before);
    RowMap after;
    after[1] = "Audio 1";
    after[2] = "Audio 2";
    for (const auto& [row, name] : before)
        after[row + 2] = name;
    std::cout << "ready" << std::endl;
    for (;;) {
        rig.captures.rows = after;
        rig.repair.snapshotPublished(after, "insert");
        rig.scheduler.advance(3.0);
        rig.captures.rows = before;
        rig.repair.logicCommand(LogicStructuralCommand::undo, std::nullopt);
        rig.repair.snapshotPublished(before, "undo");
        rig.scheduler.advance(3.0);
        rig.log.clear();
        rig.console.clear();
    }
}
