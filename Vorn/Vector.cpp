#include "Vorn/Vector.h"

template class Vector<int>;
template class Vector<unsigned long>;
template class Vector<WString>;

// The table pointer, then the three fields.
static_assert(sizeof(Vector<int>) == 3 * sizeof(void*));
