# SPDX-License-Identifier: MIT
"""Holds what objects import against ISO C, POSIX 2008 and the Mac API: imports.py OBJECT..."""
import re
import subprocess
import sys

# Functions and objects by header; those without a reason to be in these folders (processes, sockets,
# threads, terminals) are left out on purpose.
ISO_C_AND_POSIX = """
ctype.h     isalnum isalpha isblank iscntrl isdigit isgraph islower isprint ispunct isspace isupper isxdigit
            tolower toupper
dirent.h    closedir dirfd fdopendir opendir readdir rewinddir
fcntl.h     creat fcntl open openat
iconv.h     iconv iconv_close iconv_open
locale.h    localeconv setlocale
math.h      ceil copysign fabs floor fmod frexp ldexp lround modf pow round trunc
poll.h      poll
stdio.h     clearerr dprintf fclose fdopen feof ferror fflush fgetc fgets fileno flockfile fopen fprintf fputc
            fputs fread freopen fscanf fseek fseeko ftell ftello funlockfile fwrite getc getc_unlocked getchar
            getdelim getline perror printf putc putchar puts remove rename renameat rewind scanf setbuf setvbuf
            snprintf sprintf sscanf stderr stdin stdout tmpfile ungetc vdprintf vfprintf vprintf vsnprintf
            vsprintf vsscanf
stdlib.h    abort abs atexit atof atoi atol atoll bsearch calloc div exit free getenv labs malloc mkdtemp
            mkstemp qsort realloc realpath strtod strtof strtol strtold strtoll strtoul strtoull
string.h    memccpy memchr memcmp memcpy memmove memset stpcpy stpncpy strcat strchr strcmp strcoll strcpy
            strcspn strdup strerror strerror_r strlen strncat strncmp strncpy strndup strnlen strpbrk strrchr
            strspn strstr strtok strtok_r strxfrm
strings.h   strcasecmp strncasecmp
sys/stat.h  chmod fchmod fchmodat fstat fstatat futimens lstat mkdir mkdirat stat umask
sys/uio.h   readv writev
time.h      asctime asctime_r clock clock_gettime ctime ctime_r difftime gmtime gmtime_r localtime localtime_r
            mktime nanosleep strftime time tzset
unistd.h    access chdir close dup dup2 faccessat fchown fchownat fdatasync fsync ftruncate getcwd getpid
            geteuid getuid isatty link linkat lockf lseek pathconf fpathconf pread pwrite read readlink
            readlinkat rmdir symlink sysconf truncate unlink unlinkat write
"""

# What inline functions and macros of the C library's headers stand for.
INLINE = """
__errno_location            errno
__libc_single_threaded      AddAtomic
__uflow                     getc_unlocked
__ctype_b_loc               isspace and its like
__ctype_tolower_loc         tolower
__ctype_toupper_loc         toupper
"""

RUNTIME = re.compile(
    r"_Z(N8Veltrano|NK8Veltrano|T[ISV]N8Veltrano|[a-z]+N8Veltrano)\w*"  # our own
    r"|_Z(N?K?S[a-z]|NSt|NKSt|St|T[ISV]St|T[ISV]N10__cxxabiv1|[dn][alw])\w*"  # std, its type tables, new, delete
    r"|__cxa_\w+|__gxx_personality_v0|_Unwind_Resume|__dso_handle|__ehdr_start|_GLOBAL_OFFSET_TABLE_|__stack_chk_fail"
)


def plain(name):
    """The function behind a checked (fortified) or large-file form."""
    name = re.sub(r"^__(isoc99_)?(\w+?)_chk$|^__isoc99_(\w+)$", lambda m: m[2] or m[3], name)
    return name.removesuffix("64")


def main(objects):
    known = set(word for line in ISO_C_AND_POSIX.split("\n") for word in line.split() if not word.endswith(".h"))
    known |= {line.split()[0] for line in INLINE.strip().split("\n")}
    faults = []
    seen = set()
    for path in objects:
        def names(kind):
            lines = subprocess.run(["nm", f"--{kind}-only", path], check=True, capture_output=True, text=True)
            return {line.split()[-1] for line in lines.stdout.splitlines()}
        seen |= names("defined")
        for name in names("undefined"):
            if plain(name) not in known and not name.startswith("vlp_") and not RUNTIME.fullmatch(name):
                faults.append((name, path))
    faults = [f"{name}: not of ISO C, POSIX 2008 or the Mac API ({path})" for name, path in sorted(faults) if name not in seen]
    print("\n".join(faults))
    return 1 if faults or not objects else 0


sys.exit(main(sys.argv[1:]))
