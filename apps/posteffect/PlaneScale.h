// Scaling of single planes.
#pragma once

#include "apps/posteffect/Geometry.h"
#include "apps/posteffect/YuvPicture.h"

namespace posteffect {

// {2, 1} halves, {1, 2} doubles.
struct Ratio {
    int from = 1;
    int to = 1;
};

// Repeats the last column and row of the top left `filled` samples up to the plane's size.
void ReplicateEdges(Plane* plane, Size filled);

// Scales by exact ratios, averaging where samples become fewer: sample k of the result covers just
// the ground of its share of the source. The source's sides are multiples of `from`.
Plane ScalePlane(const Plane& source, Ratio horizontal, Ratio vertical);

// The same picture at a smaller size, for thumbnails.
Plane ShrinkPlane(const Plane& source, Size size);

// The picture with its longer side shrunk to this many pixels; smaller ones as they are.
YuvPicture ShrinkPicture(const YuvPicture& picture, int longerSide);

}  // namespace posteffect
