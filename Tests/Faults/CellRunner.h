#pragma once

#include "CameraSim/CameraSimulator.h"
#include "Tests/Faults/CellResult.h"
#include "Tests/Faults/Matrix.h"
#include "Tests/Faults/PrivateSettings.h"

#include <memory>
#include <string>

/// Runs cells in this process: a simulated camera that misbehaves during one call of one object, and is well again.
/// A camera serves the cells of its table, an object all cells at the stage Connected that follow one another.
/// Handles and threads are counted between cells, with one connection kept alive: WinInet keeps others, too, for the
/// time being, and drops them when it finds them closed.
class CCellRunner
{
public:
    CCellRunner();
    ~CCellRunner();
    CCellRunner(const CCellRunner&) = delete;
    CCellRunner& operator=(const CCellRunner&) = delete;

    CellResult Run(const Cell& cell);

    /// Behind the last cell.
    ProcessUsage Finish();

    /// How long Run may take with everything that goes with the call: after that it hangs.
    static DWORD DeadlineMs(const Cell& cell);

private:
    CellResult RunOnce(const Cell& cell, DWORD settleMs);
    void UseCamera(const MatrixTable& table);
    void Misbehave(const Cell& cell);
    bool IsDelivered(const Cell& cell) const;
    void BehaveAgain(const Cell& cell);
    void AwaitFirst(const Cell& cell) const;
    Usage TidyUsage(const Usage* wanted, DWORD limitMs);
    void Tidy();
    bool Reach(Stage stage);
    unsigned Recover(const Cell& cell);
    bool WorksFromTheStart(Stage stage);
    void Create();

    CPrivateSettings m_settings;
    const MatrixTable* m_table = nullptr;
    std::unique_ptr<CCameraSimulator> m_camera;
    Client m_bystander; ///< talks to the camera between cells only
    Client m_client;
    bool m_isConnected = false;
    Usage m_usage; ///< behind the last cell
    Usage m_firstUsage;
};
