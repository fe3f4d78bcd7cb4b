// A mapping-layer file that includes the iPad link above it: must not compile.
#include "osc/OSCManager.h"
