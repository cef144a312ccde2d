#include "startup/startup.h"

int main(int argc, char** argv) {
    return tavrin::RunTavrin(argc, argv);
}
