// Compound constants and the phase/compound records a material stream is made of.
using System;
using System.Collections.Generic;
using System.Reflection;
using DWSIM.Interfaces;

[assembly: AssemblyVersion("8.8.2.0")]

namespace DWSIM.Thermodynamics.BaseClasses
{
    [Serializable]
    public class ConstantProperties : ICompoundConstantProperties
    {
        public string Name { get; set; }
        public string CAS_Number { get; set; }
        public string OriginalDB { get; set; }
        public string CurrentDB { get; set; }
        public double Molar_Weight { get; set; }          // g/mol
        public double Critical_Temperature { get; set; }  // K
        public double Critical_Pressure { get; set; }     // Pa
        public double Acentric_Factor { get; set; }
        public double Normal_Boiling_Point { get; set; }  // K (triple point where there is none)
        public double HVap_At_NBP { get; set; }           // J/mol at Normal_Boiling_Point
        // Ideal-gas heat capacity, ChemSep form in J/(kmol K): equation "16" (A + exp(B/T + C +
        // D T + E T^2)) or "4" (A + B T + C T^2 + D T^3 + E T^4).
        public string IdealgasCpEquation { get; set; }
        public double Ideal_Gas_Heat_Capacity_Const_A { get; set; }
        public double Ideal_Gas_Heat_Capacity_Const_B { get; set; }
        public double Ideal_Gas_Heat_Capacity_Const_C { get; set; }
        public double Ideal_Gas_Heat_Capacity_Const_D { get; set; }
        public double Ideal_Gas_Heat_Capacity_Const_E { get; set; }
        // Vapour pressure, DIPPR equation "101" in Pa; empty when the compound has none.
        public string VaporPressureEquation { get; set; }
        public double Vapor_Pressure_Constant_A { get; set; }
        public double Vapor_Pressure_Constant_B { get; set; }
        public double Vapor_Pressure_Constant_C { get; set; }
        public double Vapor_Pressure_Constant_D { get; set; }
        public double Vapor_Pressure_Constant_E { get; set; }
        // False for compounds the database names but carries no constants for; the solver
        // refuses them rather than guessing.
        public bool HasPropertyData { get; set; }

        public ConstantProperties()
        {
            Name = ""; CAS_Number = ""; OriginalDB = ""; CurrentDB = "";
            IdealgasCpEquation = ""; VaporPressureEquation = "";
        }

        // The constants of another entry (a same-CAS twin), keeping this entry's own identity.
        public void CopyConstantsFrom(ConstantProperties o)
        {
            Molar_Weight = o.Molar_Weight; Critical_Temperature = o.Critical_Temperature;
            Critical_Pressure = o.Critical_Pressure; Acentric_Factor = o.Acentric_Factor;
            Normal_Boiling_Point = o.Normal_Boiling_Point; HVap_At_NBP = o.HVap_At_NBP;
            IdealgasCpEquation = o.IdealgasCpEquation;
            Ideal_Gas_Heat_Capacity_Const_A = o.Ideal_Gas_Heat_Capacity_Const_A;
            Ideal_Gas_Heat_Capacity_Const_B = o.Ideal_Gas_Heat_Capacity_Const_B;
            Ideal_Gas_Heat_Capacity_Const_C = o.Ideal_Gas_Heat_Capacity_Const_C;
            Ideal_Gas_Heat_Capacity_Const_D = o.Ideal_Gas_Heat_Capacity_Const_D;
            Ideal_Gas_Heat_Capacity_Const_E = o.Ideal_Gas_Heat_Capacity_Const_E;
            VaporPressureEquation = o.VaporPressureEquation;
            Vapor_Pressure_Constant_A = o.Vapor_Pressure_Constant_A;
            Vapor_Pressure_Constant_B = o.Vapor_Pressure_Constant_B;
            Vapor_Pressure_Constant_C = o.Vapor_Pressure_Constant_C;
            Vapor_Pressure_Constant_D = o.Vapor_Pressure_Constant_D;
            Vapor_Pressure_Constant_E = o.Vapor_Pressure_Constant_E;
            HasPropertyData = o.HasPropertyData;
        }

        public override string ToString() { return Name; }
    }

    [Serializable]
    public class PhaseProperties : IPhaseProperties
    {
        public double? temperature { get; set; }
        public double? pressure { get; set; }
        public double? molarflow { get; set; }
        public double? massflow { get; set; }
        public double? molarfraction { get; set; }
        public double? massfraction { get; set; }
        public double? enthalpy { get; set; }        // kJ/kg
        public double? molecularWeight { get; set; } // g/mol
    }

    [Serializable]
    public class Compound : ICompound
    {
        public Compound(string name, ICompoundConstantProperties props)
        {
            Name = name;
            ConstantProperties = props;
        }

        public string Name { get; set; }
        public double? MoleFraction { get; set; }
        public double? MassFraction { get; set; }
        public double? MolarFlow { get; set; }
        public double? MassFlow { get; set; }
        public ICompoundConstantProperties ConstantProperties { get; set; }
    }

    [Serializable]
    public class Phase : IPhase
    {
        private readonly Dictionary<string, ICompound> _compounds = new Dictionary<string, ICompound>();

        public Phase(string name)
        {
            Name = name;
            Properties = new PhaseProperties();
        }

        public string Name { get; set; }
        public IPhaseProperties Properties { get; set; }
        public Dictionary<string, ICompound> Compounds { get { return _compounds; } }
    }
}
