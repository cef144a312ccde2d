#include "sync/run.h"
