// A virtual card's image for people.
#ifndef ZELMO_IMAGE_TEXT_H
#define ZELMO_IMAGE_TEXT_H

#include "output.h"
#include "virtualcard/image.h"

namespace zelmo {

/// Prints the card's facts, its files as a tree, and its PINs and keys without their values.
void printImage(Output &output, const virtualcard::CardImage &image);

}  // namespace zelmo

#endif
