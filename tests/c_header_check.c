/* Compiled as C only: the public header must stay valid C. */
#include "korla.h"

int korla_c_header_check(void);
int korla_c_header_check(void)
{
    return KZ_OK;
}
