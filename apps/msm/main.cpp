/** msm: the message switch that the management processes meet at while they are developed and tested. */
#include "cli.h"

int main(int argc, char** argv) {
    return msmMain(argc, argv);
}
