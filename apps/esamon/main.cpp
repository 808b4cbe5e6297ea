#include "cli.h"

int main(int argc, char** argv) {
    return esamonMain(argc, argv);
}
