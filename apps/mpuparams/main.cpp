/** Creates, shows, changes and deletes the platform's shared parameter block. */
#include "cli.h"

int main(int argc, char** argv) {
    return mpuparamsMain(argc, argv);
}
