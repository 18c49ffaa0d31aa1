#include "cli/Arguments.h"
#include "cli/BatchCommands.h"

int main(int argc, char** argv) {
    const ParsedArguments parsed = parseArguments(argc, argv);
    return parsed.arguments ? runBatch(*parsed.arguments) : parsed.exitStatus;
}
