// What the engines' operations return.
#pragma once

// Negative results are failures; operations with more kinds of failure name them where
// they are declared.
enum EngineResult : int {
  kNoServers = -3,
  kFailed = -1,
  kDone = 0,
  kCancelled = 2,
};
