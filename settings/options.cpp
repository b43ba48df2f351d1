#include "settings/options.h"

namespace zuk {

static constinit i16 main_product_value = 0;
static constinit i32 min_id_value = 1;

i16 option_main_product() { return main_product_value; }
i32 option_min_id() { return min_id_value; }

void option_preset(i16 main_product, i32 min_id)
{
    main_product_value = main_product;
    min_id_value = min_id;
}

} // namespace zuk
