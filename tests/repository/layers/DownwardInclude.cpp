// A mapping-layer file that includes only its own layer and the runtime below it: must compile.
#include "mapping/MappingStore.h"
#include "runtime/Clock.h"
