#pragma once

/// The next block that this thread asks the framework's heap for without an exception, which is how executors are made,
/// is refused.
void refuseNextExecutor();
