#include "app/resources/Resources.h"

#include <QtGlobal>

// Expands to a declaration in the global namespace, so it stands in no other; a static library's resources are linked
// only when somebody names them.
void initResources() {
    Q_INIT_RESOURCE(calvane);
}
