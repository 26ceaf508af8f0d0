#include "common/log_file.h"

#include <fcntl.h>
#include <stdio.h>
#include <sys/stat.h>
#include <unistd.h>

#include "common/cancellation_off.h"

void WriteToLog(const char* path, const char* text) {
    if (!path || !text) return;
    const CancellationOff cancellationOff;
    const int fd = open(path, O_WRONLY | O_CREAT | O_APPEND | O_CLOEXEC, 0600);
    if (fd < 0) return;
    dprintf(fd, "%s\n", text);
    (void)fchmod(fd, 0666);
    close(fd);
}
