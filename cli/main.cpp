#include "cli/CliApplication.h"

int main(int argc, char* argv[])
{
    return CliApplication::Main(argc, argv);
}
