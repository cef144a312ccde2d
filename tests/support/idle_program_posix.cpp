// Does nothing for a while (60 s, or the seconds given): copied into a game folder and started
// from there, it stands for the game.
#include <unistd.h>

#include <cstdlib>

int main(int argc, char** argv) {
    sleep(static_cast<unsigned>(argc > 1 ? std::atoi(argv[1]) : 60));
    return 0;
}
