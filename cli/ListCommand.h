#ifndef CLI_LISTCOMMAND_H
#define CLI_LISTCOMMAND_H

#include "CliCommand.h"

// list: the present cameras, by default only the models the compatibility table accepts.
class ListCommand : public CliCommand
{
public:
    using CliCommand::CliCommand;
    ExitCode Run() override;
};

#endif
