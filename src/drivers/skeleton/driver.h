#pragma once

/// The least that a driver is, to begin a new one with; it belongs to no device, and the daemon doesn't have it.
namespace skeleton {

/// A driver enters its classes by static objects, as the comment in driver.cpp shows. This one is entered by its tests.
void enter();

}  // namespace skeleton
