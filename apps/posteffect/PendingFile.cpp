#include "apps/posteffect/PendingFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>

#include "apps/posteffect/Failure.h"
#include "apps/posteffect/FileDescriptor.h"

namespace posteffect {

PendingFile::PendingFile(const std::string& path) : m_path(path) {
    const std::size_t slash = path.rfind('/');
    const std::string folder = slash == std::string::npos ? "" : path.substr(0, slash + 1);
    m_temporary = folder + ".posteffect-XXXXXX";
    FileDescriptor file(mkostemp(m_temporary.data(), O_CLOEXEC));
    if (!file.valid()) {
        m_temporary.clear();
        throw Failure(
            kExitCannotWrite, path,
            std::string(std::strerror(errno)) + ": choose a folder that you may write to");
    }
    // As open would have made it; mkostemp keeps it to its owner.
    const mode_t mask = umask(0);
    umask(mask);
    fchmod(file.get(), 0666 & ~mask);
}

PendingFile::~PendingFile() {
    if (!m_temporary.empty()) unlink(m_temporary.c_str());
}

void PendingFile::commit(bool overwrite) {
    // link fails where something is, rename replaces it.
    const int result = overwrite ? rename(m_temporary.c_str(), m_path.c_str())
                                 : link(m_temporary.c_str(), m_path.c_str());
    if (result != 0) {
        throw Failure(kExitCannotWrite, m_path,
                      errno == EEXIST ? "came up meanwhile: name another file, or add --force to "
                                        "replace it"
                                      : std::string(std::strerror(errno)) +
                                            ": make room, or choose another place");
    }
    if (!overwrite) unlink(m_temporary.c_str());
    m_temporary.clear();
}

}  // namespace posteffect
