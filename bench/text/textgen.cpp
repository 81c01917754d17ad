// SPDX-License-Identifier: LGPL-2.1-or-later
// Writes a benchmark input to standard output: "textgen prose MEGABYTES" or "textgen names COUNT".
#include "textgen.h"

#include <cstdlib>
#include <cstring>

int main(int argc, char **argv)
{
    if (argc != 3 || (std::strcmp(argv[1], "prose") != 0 && std::strcmp(argv[1], "names") != 0)) {
        std::fputs("usage: textgen prose MEGABYTES | textgen names COUNT\n", stderr);
        return 2;
    }
    const std::uint64_t n = std::strtoull(argv[2], nullptr, 10);
    const std::string out = argv[1][0] == 'p' ? textgen::prose(n * 1000 * 1000) : textgen::names(n);
    return std::fwrite(out.data(), 1, out.size(), stdout) == out.size() ? 0 : 1;
}
