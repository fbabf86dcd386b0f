extern "C" __attribute__((visibility("default"))) bool NDIlib_initialize()
{
    return true;
}
