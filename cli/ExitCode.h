#ifndef CLI_EXITCODE_H
#define CLI_EXITCODE_H

// The program's exit status; --help and the README document these numbers.
enum class ExitCode
{
    Success = 0,
    Failed = 1,
    Usage = 2,
    CameraNotFound = 3,
    PartlyFailed = 4,
};

#endif
