// What the engines' operations return.
#pragma once

// Negative results are failures; operations with more than one kind of failure
// name them where they are declared.
enum EngineResult : int {
  kFailed = -1,
  kDone = 0,
  kCancelled = 2,
};
