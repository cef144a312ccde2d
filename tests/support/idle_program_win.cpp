// Does nothing for a while (60 s, or the seconds given): copied into a game folder and started
// from there, it stands for the game.
#include <windows.h>

#include <cstdlib>

int main(int argc, char** argv) {
    Sleep(static_cast<DWORD>(argc > 1 ? std::atoi(argv[1]) : 60) * 1000);
    return 0;
}
