#include "foundation/hash_map.h"

#include "foundation/dynamic_array.h"

namespace mobile_search {

void hash_value_free(void* value) { darray_destroy(static_cast<_DArray*>(value)); }

}  // namespace mobile_search
