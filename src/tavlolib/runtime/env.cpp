#include "runtime/env.h"

tvl_py_env_s tvl_py_env;

PyObject *tpy_model_exc, *tpy_interf_exc, *tpy_solver_exc;
