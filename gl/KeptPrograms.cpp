#include "gl/KeptPrograms.h"

#include <algorithm>
#include <list>

namespace {

// Every effect's, for a preview and for a still.
constexpr std::size_t kMostKept = 64;

struct Kept {
    EGLContext context;
    std::string vertexText;
    std::string fragmentText;
    GLuint program;
    int users;
};

// The one used last is the first. Held by a pointer, and so there for a manager that goes after its
// thread's objects: one of static storage. Null while nothing is kept.
thread_local std::list<Kept>* gKept = nullptr;

}  // namespace

GLuint BorrowProgram(const std::string& vertexText, const std::string& fragmentText) {
    if (gKept == nullptr) return 0;
    const auto found = std::find_if(gKept->begin(), gKept->end(), [&](const Kept& kept) {
        return kept.context == eglGetCurrentContext() && kept.fragmentText == fragmentText &&
               kept.vertexText == vertexText;
    });
    if (found == gKept->end()) return 0;
    gKept->splice(gKept->begin(), *gKept, found);
    ++found->users;
    return found->program;
}

void KeepProgram(const std::string& vertexText, const std::string& fragmentText, GLuint program) {
    if (gKept == nullptr) gKept = new std::list<Kept>;
    gKept->push_front({eglGetCurrentContext(), vertexText, fragmentText, program, 1});
}

bool ReturnProgram(GLuint program) {
    if (gKept == nullptr) return false;
    const auto found = std::find_if(gKept->begin(), gKept->end(), [&](const Kept& kept) {
        return kept.context == eglGetCurrentContext() && kept.program == program;
    });
    if (found == gKept->end()) return false;
    --found->users;
    std::size_t place = 0;
    gKept->remove_if([&place](const Kept& kept) {
        if (++place <= kMostKept || kept.users != 0) return false;
        if (kept.context == eglGetCurrentContext()) glDeleteProgram(kept.program);
        return true;
    });
    return true;
}

void DeleteKeptPrograms(EGLContext context) {
    if (gKept == nullptr) return;
    gKept->remove_if([context](const Kept& kept) {
        if (kept.context != context) return false;
        if (kept.users == 0 && context == eglGetCurrentContext()) glDeleteProgram(kept.program);
        return true;
    });
    if (!gKept->empty()) return;
    delete gKept;
    gKept = nullptr;
}
