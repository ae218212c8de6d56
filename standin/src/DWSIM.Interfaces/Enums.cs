using System.Reflection;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.Interfaces.Enums.GraphicObjects
{
    // Implicit 0-based values, in DWSIM's order: the bridge may cast numbers to this enum.
    public enum ObjectType
    {
        NodeIn, NodeOut, NodeEn, Pump, Tank, Vessel, MaterialStream, EnergyStream, Compressor,
        Expander, TPVessel, Cooler, Heater, Pipe, Valve, Nenhum, GO_Table, GO_Text, GO_Image,
        GO_FloatingTable, OT_Adjust, OT_Spec, OT_Recycle, RCT_Conversion, RCT_Equilibrium,
        RCT_Gibbs, RCT_CSTR, RCT_PFR, HeatExchanger, ShortcutColumn, DistillationColumn,
        AbsorptionColumn, RefluxedAbsorber, ReboiledAbsorber, OT_EnergyRecycle, GO_Animation,
        ComponentSeparator, OrificePlate, CustomUO, ExcelUO, CapeOpenUO, FlowsheetUO,
        GO_MasterTable, SolidSeparator, Filter, GO_SpreadsheetTable, GO_Rectangle,
        CompressorExpander, HeaterCooler, GO_Chart, GO_InputControl, External, AnalogGauge,
        DigitalGauge, LevelGauge, Controller_PID, Switch, Input, GO_HTMLText, GO_Button,
        AirCooler2, WindTurbine, HydroelectricTurbine, SolarPanel, PEMFuelCell,
        WaterElectrolyzer, RCT_GibbsReaktoro, EnergyMixer, Mixer, Splitter, Controller_Python,
        Dummy
    }

    public enum ConType { ConIn = -1, ConOut = 1, ConEn = 0, ConSp = 2 }

    public enum ConDir { Up, Down, Right, Left }
}

namespace DWSIM.Interfaces.Enums
{
    public enum StreamSpec
    {
        Temperature_and_Pressure, Pressure_and_Enthalpy, Pressure_and_Entropy,
        Pressure_and_VaporFraction, Temperature_and_VaporFraction
    }

    public enum FlowSpec { Mass, Mole, Volumetric }
}
