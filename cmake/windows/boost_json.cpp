// Boost.JSON, whole.
#include <boost/json/src.hpp>
