#ifndef CLI_CLIINTERRUPTION_H
#define CLI_CLIINTERRUPTION_H

class PXCamera;

// Ctrl-C and SIGTERM: the transfers in flight end through their abort path, so that no
// device file is left open on a camera, and the program then ends with 128 + the signal
// (130, 143). A wait without a transfer (a question, a camera's reset) ends at once; a
// second signal ends the program whatever it is doing.
class CliInterruption
{
public:
    // Called first thing in main, before any other thread exists.
    static void Install();
    // The signal that arrived, or 0.
    static int Signal();
    // The program has finished its work and is about to return.
    static void Finished();

    // Marks one transfer on camera as in flight for as long as it lives.
    class Transfer
    {
    public:
        explicit Transfer(PXCamera* camera);
        ~Transfer();
        Transfer(const Transfer&) = delete;
        Transfer& operator=(const Transfer&) = delete;

    private:
        PXCamera* m_camera;
    };

private:
    static void _Watch();
};

#endif
