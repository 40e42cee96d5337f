#include "ProcessEnd.h"

const bool nuocore::runtime::kThreadsRunAtTheEnd = false;
