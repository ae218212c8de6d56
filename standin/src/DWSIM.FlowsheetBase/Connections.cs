// Port rules of DWSIM's drawing surface for connecting two objects.
using System;
using System.Linq;
using DWSIM.Drawing.SkiaSharp.GraphicObjects;
using DWSIM.Interfaces;
using DWSIM.Interfaces.Enums.GraphicObjects;

namespace DWSIM.FlowsheetBase
{
    public abstract partial class FlowsheetBase
    {
        public const string NotAllowed = "This connection is not allowed.";
        public const string CannotBeDone = "The requested connection between the given objects cannot be done.";

        private static readonly ObjectType[] Inert = { ObjectType.GO_Image, ObjectType.GO_Table, ObjectType.GO_FloatingTable, ObjectType.Nenhum };

        // Units whose energy connector may feed an energy stream.
        private static readonly ObjectType[] EnergySources =
        {
            ObjectType.Cooler, ObjectType.Heater, ObjectType.Pipe, ObjectType.Expander, ObjectType.ShortcutColumn,
            ObjectType.DistillationColumn, ObjectType.AbsorptionColumn, ObjectType.ReboiledAbsorber,
            ObjectType.RefluxedAbsorber, ObjectType.OT_EnergyRecycle, ObjectType.ComponentSeparator,
            ObjectType.SolidSeparator, ObjectType.Filter, ObjectType.CustomUO, ObjectType.CapeOpenUO,
            ObjectType.FlowsheetUO, ObjectType.External, ObjectType.RCT_Conversion
        };

        private static bool IsStream(IGraphicObject g)
        {
            return g.ObjectType == ObjectType.MaterialStream || g.ObjectType == ObjectType.EnergyStream;
        }

        private static IGraphicObject Feeder(IGraphicObject stream)
        {
            var cp = stream.InputConnectors.FirstOrDefault();
            return cp != null && cp.IsAttached ? cp.AttachedConnector.AttachedFrom : null;
        }

        private static IGraphicObject Consumer(IGraphicObject stream)
        {
            var cp = stream.OutputConnectors.FirstOrDefault();
            return cp != null && cp.IsAttached ? cp.AttachedConnector.AttachedTo : null;
        }

        private static IConnectionPoint FreeInput(IGraphicObject to, int idx, ConType type)
        {
            if (idx == -1) return to.InputConnectors.FirstOrDefault(p => !p.IsAttached && p.Type == type);
            var cp = to.InputConnectors[idx];   // out of range: ArgumentOutOfRangeException, as in DWSIM
            return !cp.IsAttached && cp.Type == type ? cp : null;
        }

        private static IConnectionPoint FreeOutput(IGraphicObject from, int idx)
        {
            if (idx == -1) return from.OutputConnectors.FirstOrDefault(p => !p.IsAttached);
            var cp = from.OutputConnectors[idx];
            return !cp.IsAttached ? cp : null;
        }

        public void ConnectObjects(IGraphicObject gobjfrom, IGraphicObject gobjto, int fromidx, int toidx)
        {
            if (gobjfrom == null || gobjto == null) throw new ArgumentNullException(gobjfrom == null ? "gobjfrom" : "gobjto");
            if (Inert.Contains(gobjfrom.ObjectType) || Inert.Contains(gobjto.ObjectType) || gobjto.ObjectType == ObjectType.GO_MasterTable) return;

            bool fromEnergy = gobjfrom.ObjectType == ObjectType.EnergyStream;
            bool toEnergy = gobjto.ObjectType == ObjectType.EnergyStream;
            if (IsStream(gobjfrom) == IsStream(gobjto)) throw new Exception(NotAllowed);
            if ((IsStream(gobjfrom) && Feeder(gobjfrom) == gobjto) || (IsStream(gobjto) && Consumer(gobjto) == gobjfrom))
                throw new Exception(NotAllowed);

            IConnectionPoint fromPort, toPort;
            int fromIndex;
            if (!toEnergy)
            {
                if (!fromEnergy)
                {
                    toPort = FreeInput(gobjto, toidx, ConType.ConIn);
                    fromPort = FreeOutput(gobjfrom, fromidx);
                }
                else
                {
                    toPort = FreeInput(gobjto, toidx, ConType.ConEn);
                    if (toPort == null) throw new Exception(NotAllowed);
                    fromPort = FreeOutput(gobjfrom, fromidx == -1 ? 0 : fromidx);
                }
                fromIndex = fromPort != null ? gobjfrom.OutputConnectors.IndexOf(fromPort) : -1;
            }
            else
            {
                if (!EnergySources.Contains(gobjfrom.ObjectType)) throw new Exception(NotAllowed);
                fromPort = gobjfrom.EnergyConnector.IsAttached ? null : gobjfrom.EnergyConnector;
                toPort = gobjto.InputConnectors[0];   // taken even when already attached, as DWSIM does
                fromIndex = -1;
            }
            if (fromPort == null || toPort == null) throw new Exception(CannotBeDone);

            var con = new ConnectorGraphic
            {
                AttachedFrom = gobjfrom,
                AttachedTo = gobjto,
                AttachedFromConnectorIndex = fromIndex,
                AttachedToConnectorIndex = gobjto.InputConnectors.IndexOf(toPort),
                AttachedFromEnergy = fromPort.IsEnergyConnector,
                AttachedToEnergy = toPort.Type == ConType.ConEn,
                AttachedFromInput = false,
                AttachedToOutput = false
            };
            fromPort.AttachedConnector = con; fromPort.IsAttached = true;
            toPort.AttachedConnector = con; toPort.IsAttached = true;
        }

        public void DisconnectObjects(IGraphicObject gobjfrom, IGraphicObject gobjto)
        {
            var ports = gobjfrom.OutputConnectors.Concat(new[] { gobjfrom.EnergyConnector })
                .Concat(gobjto.InputConnectors)
                .Where(p => p.IsAttached && p.AttachedConnector.AttachedFrom == gobjfrom && p.AttachedConnector.AttachedTo == gobjto)
                .ToList();
            foreach (var p in ports) { p.IsAttached = false; p.AttachedConnector = null; }
        }
    }
}
