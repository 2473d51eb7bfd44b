// The OpenGL probe of the render path choice: a throwaway GLX context on a connection of its
// own, as Qt's xcb platform would make one, in a short-lived child process. The program itself
// thus never loads the OpenGL driver on the software path (nor keeps what the driver leaves
// behind when it unloads), and a driver that crashes only ends the probe. X11's headers come
// after Qt's: they define macros (Bool, None, Status) that break Qt's.
#include "playback/VideoSurface.h"

#include <QByteArray>

#include <GL/gl.h>
#include <GL/glx.h>
#include <X11/Xlib.h>

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>

namespace {

// How long the probe may take: a driver that hangs must not hold up the start.
constexpr int kProbeTimeoutMs = 10000;

// An X error in the probe means no usable OpenGL; without a handler Xlib would end the process.
int s_probeErrors = 0;

int countError(Display*, XErrorEvent*) {
    ++s_probeErrors;
    return 0;
}

// "+renderer" or "-reason".
QByteArray probe(Display* display) {
    int errorBase = 0;
    int eventBase = 0;
    if (!glXQueryExtension(display, &errorBase, &eventBase))
        return "-the X server offers no OpenGL";
    const int attributes[] = {GLX_DRAWABLE_TYPE, GLX_PBUFFER_BIT, GLX_RENDER_TYPE, GLX_RGBA_BIT,
                              None};
    int count = 0;
    GLXFBConfig* configs = glXChooseFBConfig(display, DefaultScreen(display), attributes, &count);
    if (!configs || count == 0) {
        if (configs)
            XFree(configs);
        return "-no OpenGL configuration";
    }
    const GLXFBConfig config = configs[0];
    XFree(configs);
    QByteArray result = "-no OpenGL context";
    GLXContext context = glXCreateNewContext(display, config, GLX_RGBA_TYPE, nullptr, True);
    const int size[] = {GLX_PBUFFER_WIDTH, 1, GLX_PBUFFER_HEIGHT, 1, None};
    const GLXPbuffer pbuffer = glXCreatePbuffer(display, config, size);
    XSync(display, False);
    if (context && pbuffer && s_probeErrors == 0 &&
        glXMakeContextCurrent(display, pbuffer, pbuffer, context)) {
        const auto* renderer = reinterpret_cast<const char*>(glGetString(GL_RENDERER));
        if (renderer && *renderer)
            result = QByteArray("+") + renderer;
        glXMakeContextCurrent(display, None, None, nullptr);
    }
    if (pbuffer)
        glXDestroyPbuffer(display, pbuffer);
    if (context)
        glXDestroyContext(display, context);
    XSync(display, False);
    return result;
}

[[noreturn]] void probeInChild(int output) {
    XSetErrorHandler(countError);
    QByteArray result = "-no X11 display";
    if (Display* display = XOpenDisplay(nullptr)) {
        result = probe(display);
        XCloseDisplay(display);
    }
    const char* data = result.constData();
    qsizetype left = result.size();
    while (left > 0) {
        const ssize_t written = ::write(output, data, size_t(left));
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            break;
        data += written;
        left -= written;
    }
    // Straight out: none of the parent's exit handlers run in the child.
    ::_exit(0);
}

} // namespace

QString VideoSurface::openGLRenderer(QString* failure) {
    const QByteArray platform = qgetenv("QT_QPA_PLATFORM");
    if (!platform.isEmpty() && !platform.startsWith("xcb")) {
        *failure = QStringLiteral("OpenGL is probed on X11 only");
        return {};
    }
    if (qgetenv("QT_XCB_GL_INTEGRATION") == "none") {
        *failure = QStringLiteral("Qt's OpenGL is switched off");
        return {};
    }
    int fds[2];
    if (::pipe2(fds, O_CLOEXEC) != 0) {
        *failure = QStringLiteral("cannot probe OpenGL");
        return {};
    }
    const pid_t child = ::fork();
    if (child == 0) {
        ::close(fds[0]);
        probeInChild(fds[1]);
    }
    ::close(fds[1]);
    if (child < 0) {
        ::close(fds[0]);
        *failure = QStringLiteral("cannot probe OpenGL");
        return {};
    }
    QByteArray reply;
    bool hung = false;
    for (;;) {
        pollfd waiting{fds[0], POLLIN, 0};
        const int ready = ::poll(&waiting, 1, kProbeTimeoutMs);
        if (ready < 0 && errno == EINTR)
            continue;
        if (ready <= 0) {
            hung = true;
            break;
        }
        char buffer[256];
        const ssize_t got = ::read(fds[0], buffer, sizeof buffer);
        if (got < 0 && errno == EINTR)
            continue;
        if (got <= 0)
            break;
        reply.append(buffer, qsizetype(got));
    }
    ::close(fds[0]);
    if (hung)
        ::kill(child, SIGKILL);
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (reply.startsWith('+'))
        return QString::fromUtf8(reply.mid(1));
    if (reply.startsWith('-'))
        *failure = QString::fromUtf8(reply.mid(1));
    else
        *failure = hung ? QStringLiteral("the OpenGL probe did not finish")
                        : QStringLiteral("the OpenGL probe crashed");
    return {};
}
