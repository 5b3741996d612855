#include <OrvaneCloudHost/Md5HashCalculator.h>

#include <cstdio>

/// Prints the MD5 of every file named on the command line: a process to compare with others of its kind.
int main(int argc, char* argv[])
{
    Orvane::PDF::Cloud::Md5HashCalculator calculator;
    for (int index = 1; index < argc; ++index) {
        const auto hash = calculator.CalculateFileHash(Orvane::ioPath(argv[index]));
        if (hash.empty()) {
            std::fprintf(stderr, "%s: cannot be read\n", argv[index]);
            return 1;
        }
        std::printf("%s  %s\n", hash.c_str(), argv[index]);
    }
    return 0;
}
