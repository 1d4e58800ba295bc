#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include "support/RunProgram.h"

namespace test_support {

std::filesystem::path ProgramFolder() {
    return std::filesystem::read_symlink("/proc/self/exe").parent_path();
}

int RunProgram(const std::filesystem::path& program) {
    std::string path = program.string();
    char* arguments[] = {path.data(), nullptr};
    pid_t child = 0;
    int status = 0;
    if (posix_spawn(&child, path.c_str(), nullptr, nullptr, arguments, environ) != 0 ||
        waitpid(child, &status, 0) != child || !WIFEXITED(status)) {
        return -1;
    }
    return WEXITSTATUS(status);
}

}  // namespace test_support
