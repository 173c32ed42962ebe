#include "Neighbour.h"

int neighbour::answer() {
    return 42;
}
