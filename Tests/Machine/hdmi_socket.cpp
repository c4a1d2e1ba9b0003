// Adds the controls of the HDMI socket, nothing plugged in: a sound server looks for them when it starts.

#include "Machine/HdmiSocket.hpp"

int main()
{
    quenstal::HdmiSocket().pullOut();
}
