// Persisted board state: the registers of every board that keep their value while the board is
// powered (CQelSimBoard::PersistentRegisters), so that a second run of the tool finds the chip as
// the first run left it. The file is replaced atomically on every change; deleting it is a power
// cycle of the rig.
//
//   {"boards": {"03:00.0": {"0x26fc": "0xc0000000"}}}
#pragma once

#include <map>
#include <string>
#include <vector>

#include "QelBaseTypes.h"

class CQelSimBoard;

// Register values by board location, then by register offset.
typedef std::map<PCIHANDLE, std::map<MUINT32, MUINT32>> TQelSimBoardState;

class CQelSimStateStore
{
public:
    explicit CQelSimStateStore(std::string sPath) : m_sPath(std::move(sPath)) {}

    const std::string& Path() const { return m_sPath; }

    // Reads the file; a missing file is the power-on state (nothing, true). False with the reason
    // when the file cannot be read or is not a state file.
    bool Load(TQelSimBoardState& roState, std::string& rsError) const;
    // Writes the persistent registers of all boards.
    bool Save(const std::vector<CQelSimBoard*>& rapoBoards, std::string& rsError) const;

private:
    std::string m_sPath;
};
