// A process to verify: runs for the number of milliseconds given, 0 by default, and ends with exit code 7.
#include <windows.h>

#include <cstdlib>

// Read when the program ends, so that a test can make another program of it.
static volatile const char exitCode[] = "exit code 7";

int main(int count, char** arguments) {
    if (count > 1) {
        Sleep(static_cast<DWORD>(std::strtoul(arguments[1], nullptr, 10)));
    }
    return exitCode[10] - '0';
}
