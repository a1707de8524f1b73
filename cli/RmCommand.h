#ifndef CLI_RMCOMMAND_H
#define CLI_RMCOMMAND_H

#include "FileCommand.h"

// rm CAMERA FILE... [--yes]: deletes device files after asking on a terminal; without a
// terminal it needs --yes.
class RmCommand : public FileCommand
{
public:
    using FileCommand::FileCommand;
    ExitCode Run() override;
};

#endif
