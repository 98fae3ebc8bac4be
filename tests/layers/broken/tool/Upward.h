#include "programs/spf-may-send/Program.h"
