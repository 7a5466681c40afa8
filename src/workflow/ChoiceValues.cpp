// Gives the choice namespaces their meta-objects.
#include "ChoiceValues.h"

#include "moc_ChoiceValues.cpp"
