// Gives the review's values their meta-objects.
#include "ReviewValues.h"

#include "moc_ReviewValues.cpp"
