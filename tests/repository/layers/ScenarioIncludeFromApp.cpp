// An app-layer file that includes the scenario player, which sits above the app and alone
// links the simulated Logic: must not compile.
#include "scenario/ScenarioPlayer.h"
