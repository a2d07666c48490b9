// Ipopt's C interface under the names of our copy of the library. The only place that includes its headers.
#pragma once

#include <tvlo_ipopt.h>
