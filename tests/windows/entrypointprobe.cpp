// The program's entry point with something behind it that only prints what arrived: hexadecimal
// digits of each argument, in the active code page, and a blank.
#include "app/qMain.h"

#include <cstdio>

int qMain(int argc, char** argv)
{
    if (argv[argc])
        return -2;
    for (int i = 1; i < argc; ++i) {
        for (const char* c = argv[i]; *c; ++c)
            std::printf("%02x", unsigned(static_cast<unsigned char>(*c)));
        std::putchar(' '); // left to the end of the process to flush
    }
    return 7;
}
