#include "esamain.h"

int main(int argc, char* argv[]) {
    return esaMain(argc, argv);
}
