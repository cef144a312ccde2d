// Sources in a folder no line names.
#include "sync/run.h"
