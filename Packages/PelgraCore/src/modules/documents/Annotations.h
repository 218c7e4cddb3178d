#pragma once

#include "Destinations.h"

namespace Pelgra::Documents {

/// An annotation of the output with the one it is a copy of.
struct PlacedAnnotation {
    Object source;
    Object copy; ///< empty until it is filled
};

/// Makes places for the annotations of a page, so that whatever refers to them finds them. Links that lead to no page
/// and show nothing get no place.
std::vector<PlacedAnnotation> placeAnnotations(Input& input, PlacedPage& page, LinkRewriter& links);

/// Copies what the annotations say and lists them on their page. Form fields are connected elsewhere.
void fillAnnotations(Input& input, const PlacedPage& page, const std::vector<PlacedAnnotation>& annotations,
                     LinkRewriter& links);

} // namespace Pelgra::Documents
