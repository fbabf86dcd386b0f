#pragma once

/// Starts the recorder, runs its event loop and returns the exit code. Called by the platform's
/// entry point.
int qMain(int argc, char** argv);
