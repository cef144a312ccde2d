// An engine file reaching up into the window.
#include "ui/window.h"
