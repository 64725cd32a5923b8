#include "dom/model_state.h"

namespace qvx::dom {

ModelStateHolder model_state_holder;

}  // namespace qvx::dom
