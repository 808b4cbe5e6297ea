#include "core/control_block.h"

EsaControl_t esaControl;
const MPU_PARAMS_t* oMpuParams;
int shmKey;
const CHAR_t* ProgName;
