// The posteffect command.
#include <cstdio>
#include <exception>
#include <new>
#include <string>
#include <vector>

#include "apps/posteffect/CommandLine.h"
#include "apps/posteffect/Failure.h"

int main(int argc, char** argv) {
    try {
        const std::vector<std::string> words(argv + (argc > 0 ? 1 : 0), argv + argc);
        return posteffect::RunCommandLine(words);
    } catch (const posteffect::Failure& failure) {
        std::fprintf(stderr, "posteffect: %s\n", failure.what());
        return failure.code();
    } catch (const std::bad_alloc&) {
        std::fputs("posteffect: not enough memory: use a smaller picture\n", stderr);
    } catch (const std::exception& fault) {
        std::fprintf(stderr, "posteffect: %s\n", fault.what());
    }
    return posteffect::kExitSomeFailed;
}
