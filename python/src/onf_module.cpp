// The module brelononf._core: failures as the package's exception, log lines to Python's logging.
#include "onf_python.h"

#include "QSV_Failure.h"

namespace onf_python {

namespace {

// The exception class and the logger live as long as the process: the module keeps its own
// reference to each, which is never given back, so that nothing is released after the
// interpreter has gone.
PyObject* g_OnfError = nullptr;
PyObject* g_Logger = nullptr;

// The failure as an instance of OnfError, its cause (a nested failure) under `nested`.
py::object MakeError(const QSV_Exception& failure) {
    py::object error = py::handle(g_OnfError)(PyText(failure.GetMessage()));
    error.attr("message") = PyText(failure.GetMessage());
    error.attr("identifier") = py::str(failure.GetId());
    error.attr("log_tag") = py::str(failure.GetLogTag());
    error.attr("nested") =
        failure.GetNested() != nullptr ? MakeError(*failure.GetNested()) : py::object(py::none());
    return error;
}

// Engine levels to logging's: errors 40, warnings 30, progress 20, detail 10, trace 5.
int PythonLevel(QSV_LogMacros::LogMsgType level) {
    switch (level) {
    case QSV_LogMacros::LOG_ERROR:
        return 40;
    case QSV_LogMacros::LOG_WARNING:
        return 30;
    case QSV_LogMacros::LOG_INFO:
        return 20;
    case QSV_LogMacros::LOG_DETAIL:
        return 10;
    default:
        return 5;
    }
}

void ForwardLogLine(QSV_LogMacros::LogMsgType level, const char* sourceFile, int line,
                    const std::string& tag, const std::string& message) {
    py::gil_scoped_acquire gil;
    try {
        const py::handle logger(g_Logger);
        const int pyLevel = PythonLevel(level);
        if (!logger.attr("isEnabledFor")(pyLevel).cast<bool>()) {
            return;
        }
        py::dict extra;
        extra["onf_tag"] = py::str(tag);
        extra["onf_source"] = py::str(std::string(sourceFile != nullptr ? sourceFile : "") + ":" +
                                      std::to_string(line));
        logger.attr("log")(pyLevel, "%s", PyText(message), py::arg("extra") = extra);
    } catch (py::error_already_set& error) {
        // A handler that fails must not unwind through the engine, which is reading a file.
        error.discard_as_unraisable("brelononf log sink");
    }
}

} // namespace

void RegisterFailures(py::module_& m) {
    g_OnfError = PyErr_NewExceptionWithDoc(
        "brelononf.OnfError",
        "A failure of the engine. `message` is its text, `identifier` the twelve-digit\n"
        "identifier of the place that raised it ('' where it has none), `log_tag` the engine's\n"
        "tag of that place, `nested` the failure it wraps (None without one).",
        PyExc_Exception, nullptr);
    if (g_OnfError == nullptr) {
        throw py::error_already_set();
    }
    m.attr("OnfError") = py::handle(g_OnfError);
    py::register_exception_translator([](std::exception_ptr pointer) {
        try {
            if (pointer) {
                std::rethrow_exception(pointer);
            }
        } catch (const QSV_Exception& failure) {
            const py::object error = MakeError(failure);
            PyErr_SetObject(g_OnfError, error.ptr());
        }
    });
}

void RegisterLogSink(py::module_& m) {
    g_Logger = py::module_::import("logging").attr("getLogger")("brelononf").release().ptr();
    QSV_LogMacros::SetLogSink(ForwardLogLine);
    // The default sink comes back before the interpreter goes, so that no line of a late engine
    // call reaches a logger that is gone.
    py::module_::import("atexit").attr("register")(
        py::cpp_function([]() { QSV_LogMacros::SetLogSink(nullptr); }));
    m.attr("LOGGER_NAME") = "brelononf";
}

} // namespace onf_python

PYBIND11_MODULE(_core, m) {
    m.doc() = "The engine side of brelononf: ONF files read into numpy arrays and written back.";
    onf_python::RegisterFailures(m);
    onf_python::RegisterLogSink(m);
    onf_python::RegisterFiles(m);
    onf_python::RegisterModel(m);
}
