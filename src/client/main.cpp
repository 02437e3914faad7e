#include "client/Program.h"

int main(int argumentCount, char** arguments) {
    return qrn::RunProgram({arguments + 1, arguments + argumentCount});
}
