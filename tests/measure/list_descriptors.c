// Stands in front of a router's tool, under its name, in the first folder of PATH: adds to the file $DESCRIPTORS_LOG a
// line for each descriptor that the tool inherits besides 0, 1 and 2, and a line with its name, and becomes the tool.
// It is no script: a shell has descriptors of its own.

#include <dirent.h>
#include <stdio.h>
#include <stdlib.h>
#include <string.h>
#include <unistd.h>

static void list(const char *tool, const char *argument)
{
    FILE *log = fopen(getenv("DESCRIPTORS_LOG"), "ae");
    DIR *folder = opendir("/proc/self/fd");
    if (log == NULL || folder == NULL)
        exit(125);
    for (const struct dirent *entry; (entry = readdir(folder)) != NULL;) {
        char target[4096] = "";
        const int fd = atoi(entry->d_name);
        if (fd <= 2 || fd == fileno(log) || fd == dirfd(folder))
            continue;
        (void)!readlinkat(dirfd(folder), entry->d_name, target, sizeof(target) - 1);
        (void)fprintf(log, "%s %s inherits %d: %s\n", tool, argument, fd, target);
    }
    (void)fprintf(log, "started %s\n", tool);
    (void)closedir(folder);
    (void)fclose(log);
}

int main(int argc, char **argv)
{
    const char *slash = strrchr(argv[0], '/');
    const char *tool = slash == NULL ? argv[0] : slash + 1;
    list(tool, argc > 1 ? argv[argc - 1] : "");
    const char *rest = strchr(getenv("PATH"), ':');
    if (rest == NULL || setenv("PATH", rest + 1, 1) != 0)
        return 125;
    (void)execvp(tool, argv);
    perror(tool);
    return 127;
}
