#ifndef CLI_LSCOMMAND_H
#define CLI_LSCOMMAND_H

#include "FileCommand.h"

// ls CAMERA [--selector S]: the files of one file selector entry and the free space.
class LsCommand : public FileCommand
{
public:
    using FileCommand::FileCommand;
    ExitCode Run() override;
};

#endif
