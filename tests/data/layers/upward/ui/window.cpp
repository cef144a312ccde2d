// The window may include the engine.
#include "sync/run.h"
