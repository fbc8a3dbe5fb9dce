#include "common/FactoryObjects.h"

namespace engine::graphics {

namespace {
ObjectMaker object_maker;  // installed by the graphics extension
}  // namespace

void set_object_maker(const ObjectMaker& maker) noexcept { object_maker = maker; }

const ObjectMaker& get_object_maker() noexcept { return object_maker; }

}  // namespace engine::graphics
