// Applies and undoes one insertion repair for ever on a 400-row profile in the folder given, so
// that the crash test can kill it while it writes. Prints "ready" once the first profile is on
// disk and "applied" once the first repair is saved. Not a test by itself.
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
    const RowMap after = RepairRig::inserted(before, 1, {"Audio 1", "Audio 2"});
    std::cout << "ready" << std::endl;
    for (bool first = true;; first = false) {
        rig.publish(after, "insert");
        rig.scheduler.advance(3.0);
        if (first)
            std::cout << "applied" << std::endl;
        rig.command(LogicStructuralCommand::undo, before);
        rig.repair.snapshotPublished(before, "undo");
        rig.scheduler.advance(3.0);
        rig.log.clear();
        rig.console.clear();
    }
}
