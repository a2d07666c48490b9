// The tests have libtvlo in themselves; the engines are where the package is built.
#include "engines/loader.h"

namespace {

const bool kFolderSet = (tvlo::setEngineFolder(TVLO_TEST_ENGINES), true);

}  // namespace
