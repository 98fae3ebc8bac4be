#include "framework/core/Queue.h"

template class Queue<std::string>;
