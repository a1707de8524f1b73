#ifndef CLI_INFOCOMMAND_H
#define CLI_INFOCOMMAND_H

#include "CliCommand.h"

// info CAMERA: identity, firmware, the file selector entries with their file counts,
// and the free space of the camera's file storage.
class InfoCommand : public CliCommand
{
public:
    using CliCommand::CliCommand;
    ExitCode Run() override;
};

#endif
