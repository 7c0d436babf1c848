#include "library_output.h"

#include <fcntl.h>
#include <sys/mman.h>
#include <unistd.h>

#include <cstdio>

static void redirect(int from, int to)
{
    if (to >= 0)
        dup2(to, from);
}

static void closeIfOpen(int descriptor)
{
    if (descriptor >= 0)
        close(descriptor);
}

LibraryOutput::LibraryOutput()
{
    fflush(stdout);
    const int dropped = open("/dev/null", O_WRONLY | O_CLOEXEC);
    collected = memfd_create("library output", MFD_CLOEXEC);
    standardOutput = fcntl(STDOUT_FILENO, F_DUPFD_CLOEXEC, 0);
    standardError = fcntl(STDERR_FILENO, F_DUPFD_CLOEXEC, 0);
    if (standardOutput >= 0)
        redirect(STDOUT_FILENO, dropped);
    if (standardError >= 0)
        redirect(STDERR_FILENO, collected);
    closeIfOpen(dropped);
}

LibraryOutput::~LibraryOutput()
{
    fflush(stdout);
    redirect(STDOUT_FILENO, standardOutput);
    redirect(STDERR_FILENO, standardError);
    closeIfOpen(standardOutput);
    closeIfOpen(standardError);
    closeIfOpen(collected);
}

std::string LibraryOutput::firstLine() const
{
    char text[200];
    ssize_t length = collected < 0 ? 0 : pread(collected, text, sizeof text, 0);
    std::string line(text, length > 0 ? static_cast<size_t>(length) : 0);
    line.erase(0, line.find_first_not_of('\n'));
    return line.substr(0, line.find('\n'));
}
