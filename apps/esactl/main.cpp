#include "cli.h"

int main(int argc, char** argv) {
    return esactlMain(argc, argv);
}
