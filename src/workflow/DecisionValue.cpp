// Gives the decision namespace its meta-object.
#include "DecisionValue.h"

#include "moc_DecisionValue.cpp"
