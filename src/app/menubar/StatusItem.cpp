// The item's interface has no code of its own; this unit gives moc a home for it.
#include "app/menubar/StatusItem.h"
