// Small shared pieces of the public interface: the attribute packet of the signalling channel and the log hook.
#ifndef LUMOMEDIA_BASE_H
#define LUMOMEDIA_BASE_H

#include <lumomedia/export.h>

#include <map>
#include <string>

/// A packet of named, typed attributes that travels over the application's signalling channel.
/// Not synchronised: one thread at a time. Getters of an absent attribute, or of one of another type, give "", false,
/// 0.
class LUMO_API CCmdPacket {
public:
    CCmdPacket();
    virtual ~CCmdPacket();
    CCmdPacket(const CCmdPacket&);
    CCmdPacket& operator=(const CCmdPacket&);

    /// Sets an attribute, replacing one of the same name whatever its type. Values are 32-bit at most.
    void PutAttrib(const std::string& name, const std::string& value);
    void PutAttribBL(const std::string& name, bool value);
    void PutAttribUS(const std::string& name, unsigned short value);
    void PutAttribUL(const std::string& name, unsigned long value);

    std::string GetAttrib(const std::string& name) const;
    bool GetAttribBL(const std::string& name) const;
    unsigned short GetAttribUS(const std::string& name) const;
    unsigned long GetAttribUL(const std::string& name) const;

    /// The user who sent the packet, as the signalling channel vouches for it. Never part of the serialised form.
    unsigned long GetFromUID() const;
    void SetFromUID(unsigned long userID);

    /// The packet as bytes, without the sender; empty when that would be more than 64 KiB. Parse takes exactly these
    /// back. Both ends may run on any machine.
    std::string Serialize() const;
    /// False, with `packet` left as it was, on anything but a well-formed packet of at most 64 KiB. On success the
    /// sender is 0: set it from what the signalling channel vouches for.
    static bool Parse(const std::string& bytes, CCmdPacket& packet);

private:
    struct Value {
        unsigned char type;
        unsigned long number;
        std::string text;
    };
    std::map<std::string, Value> m_mapAttribs;
    unsigned long m_ulFromUID;
};

/// Takes every log line the library writes while it is set, whatever LUMO_LOG says; null gives the lines back.
/// `line` is one line without its end and is valid only during the call. Called on any thread of the library, possibly
/// with its locks held: copy and return, and call nothing of the library. Setting another hook, or null, waits for a
/// running call of the old one: hold no lock that the hook takes.
typedef void (*LumoLogHook)(void* context, const char* line);
LUMO_API void SetLogHook(LumoLogHook hook, void* context);

#endif
